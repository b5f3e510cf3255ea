// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ibase.h>
#include <string>

namespace kwlookup {

/// The texts that a column, or a parameter for it, can hold.
class TextLimit {
public:
    TextLimit() = default;

    /// `value` describes the column, and is of the type SQL_TEXT or SQL_VARYING.
    explicit TextLimit(const XSQLVAR& value);

    bool IsUtf8() const { return m_is_utf8; }
    std::size_t GetMostBytes() const { return m_most_bytes; }
    bool CanHold(const std::string& text) const;

    /// The number of characters of `text`.
    std::size_t Length(const std::string& text) const;

private:
    bool m_is_utf8 = false;
    std::size_t m_most_bytes = 0;
    std::size_t m_most_characters = 0;
};

} // namespace kwlookup
