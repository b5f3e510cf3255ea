// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapTemplateReader.h"

#include "plugins/ldap/LdapNames.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace kwlookup {

LdapTemplateReader::LdapTemplateReader(std::string kind, std::string text)
    : m_kind(std::move(kind)), m_text(std::move(text)) {
    if (m_text.find('\0') != std::string::npos)
        throw std::invalid_argument("the template holds a NUL byte");
}

bool LdapTemplateReader::Skip(char c) {
    const bool is_there = At(c);
    m_at += is_there ? 1 : 0;
    return is_there;
}

void LdapTemplateReader::Expect(char c) {
    if (!Skip(c))
        Fail(std::string("no '") + c + "'");
}

void LdapTemplateReader::SkipBlanks() {
    while (Skip(' ')) {
    }
}

std::string_view LdapTemplateReader::TakeUntil(std::string_view ends) {
    const std::size_t start = m_at;
    m_at = std::min(m_text.find_first_of(ends, m_at), m_text.size());
    return std::string_view(m_text).substr(start, m_at - start);
}

void LdapTemplateReader::TakeValue(std::string_view escapable) {
    if (At('$'))
        TakeCode();
    else if (At('\\'))
        TakeEscaped(escapable);
    else
        result.AddValue(m_text[m_at++]);
}

void LdapTemplateReader::TakeCode() {
    if (++m_at == m_text.size())
        return; // drop a lone '$' at the end
    const char code = m_text[m_at];
    if (std::string_view("sud$").find(code) == std::string_view::npos)
        throw std::invalid_argument("unrecognize expansion in '" + m_text + "'");
    ++m_at;
    if (code == '$')
        result.AddValue('$');
    else
        result.AddCode(code);
}

void LdapTemplateReader::TakeEscaped(std::string_view escapable) {
    const std::string_view escaped = std::string_view(m_text).substr(m_at + 1, 2);
    if (!escaped.empty() && escapable.find(escaped[0]) != std::string_view::npos) {
        result.AddValue(escaped[0]);
        m_at += 2;
        return;
    }
    const int high = escaped.size() == 2 ? HexDigit(escaped[0]) : -1;
    const int low = escaped.size() == 2 ? HexDigit(escaped[1]) : -1;
    if (high < 0 || low < 0)
        Fail("no two hexadecimal digits behind '\\'");
    result.AddValue(static_cast<char>(16 * high + low));
    m_at += 3;
}

void LdapTemplateReader::Fail(const std::string& reason) const {
    throw std::invalid_argument("wrong " + m_kind + " '" + m_text + "': " + reason + " at byte " +
                                std::to_string(m_at + 1));
}

} // namespace kwlookup
