// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/Values.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kwlookup {

/// What a server answered: nothing, or rows of values. The result is all values in order, joined by
/// blanks, empty ones left out.
class Answer {
public:
    explicit Answer(std::size_t max_rows) : m_max_rows(max_rows) {}

    /// There is a row, whose values, if any, follow. Throws std::runtime_error "more rows than
    /// MaxRows, NUMBER"; the connection, which has more of them, is then closed.
    void AddRow() {
        if (++m_rows > m_max_rows)
            throw std::runtime_error("more rows than MaxRows, " + std::to_string(m_max_rows));
    }

    void AddValue(std::string_view value) { Values(&m_result).Add(value); }

    void Clear() {
        m_rows = 0;
        m_result.clear();
    }

    /// True when there is a row.
    bool IsFound() const { return m_rows > 0; }
    const std::string& GetResult() const { return m_result; }

private:
    std::size_t m_max_rows;
    std::size_t m_rows = 0;
    std::string m_result;
};

} // namespace kwlookup
