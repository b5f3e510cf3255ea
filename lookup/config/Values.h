// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Joins the values that a search found into one result, with blanks between them. Leaves out empty
/// values.
class Values {
public:
    /// Appends to `out`, which is not cleared. `out` may be null when the caller wants no result.
    explicit Values(std::string* out) : m_out(out) {}

    /// Returns an object that appends to the same text, but without a NUL byte at the end of each
    /// value.
    Values WithoutNul() const {
        Values values(m_out);
        values.m_without_nul = true;
        return values;
    }

    /// Returns false when the values are not used.
    bool IsWanted() const { return m_out != nullptr; }

    /// Appends `value`.
    void Add(std::string_view value) {
        if (m_without_nul && !value.empty() && value.back() == '\0')
            value.remove_suffix(1);
        if (!m_out || value.empty())
            return;
        if (!m_out->empty())
            *m_out += ' ';
        *m_out += value;
    }

private:
    std::string* m_out;
    bool m_without_nul = false;
};

} // namespace kwlookup
