// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Gathers the values of a search as one result text: joined by blanks, empty ones left out.
class Values {
public:
    /// `out` may be null: then nobody wants them. It is not cleared.
    explicit Values(std::string* out) : m_out(out) {}

    /// Gathers into the same text, and takes one NUL byte off the end of each value.
    Values WithoutNul() const {
        Values values(m_out);
        values.m_without_nul = true;
        return values;
    }

    /// True when somebody wants the values.
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
