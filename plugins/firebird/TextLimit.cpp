// SPDX-License-Identifier: MIT
#include "plugins/firebird/TextLimit.h"

#include "text/IsUtf8.h"

#include <algorithm>

namespace kwlookup {

namespace {

/// Character sets of more than one byte a character, by Firebird's numbers, which do not change.
constexpr int UNICODE_FSS = 3, UTF8 = 4;

} // namespace

TextLimit::TextLimit(const XSQLVAR& value)
    : m_is_utf8((value.sqlsubtype & 0xff) == UTF8),
      m_most_bytes(static_cast<std::size_t>(value.sqllen)), m_most_characters(m_most_bytes) {
    if (m_is_utf8)
        m_most_characters /= 4;
    else if ((value.sqlsubtype & 0xff) == UNICODE_FSS)
        m_most_characters /= 3;
}

bool TextLimit::CanHold(const std::string& text) const {
    return text.size() <= m_most_bytes && Length(text) <= m_most_characters &&
           (!m_is_utf8 || kwlookup::IsUtf8(text));
}

std::size_t TextLimit::Length(const std::string& text) const {
    if (!m_is_utf8)
        return text.size();
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
    }));
}

} // namespace kwlookup
