// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/Values.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kwlookup {

/// The answer of a server: nothing, or rows of values. The result is all non-empty values in order,
/// separated by blanks.
class Answer {
public:
    explicit Answer(std::size_t max_rows) : m_max_rows(max_rows) {}

    /// Begin a row; its values, if any, follow. Throws std::runtime_error "more rows than MaxRows,
    /// NUMBER". The connection is closed then, because it has unread rows.
    void AddRow() {
        if (++m_rows > m_max_rows)
            throw std::runtime_error("more rows than MaxRows, " + std::to_string(m_max_rows));
    }

    void AddValue(std::string_view value) { Values(&m_result).Add(value); }

    void Clear() {
        m_rows = 0;
        m_result.clear();
    }

    /// True if there is a row.
    bool IsFound() const { return m_rows > 0; }
    const std::string& GetResult() const { return m_result; }

private:
    std::size_t m_max_rows;
    std::size_t m_rows = 0;
    std::string m_result;
};

} // namespace kwlookup
