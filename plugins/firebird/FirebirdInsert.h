// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/InsertStatement.h"

#include <cstddef>
#include <string>

namespace kwlookup {

/// The insert statement of an item, as Firebird takes it.
class FirebirdInsert {
public:
    explicit FirebirdInsert(const InsertStatement& insert) : m_insert(insert) {
        m_insert.FoldTable();
        m_statement = m_insert.Text('"', '?');
    }

    const std::string& GetStatement() const { return m_statement; }

    /// The name of a value, by the number of its column from 0 on.
    const std::string& GetName(std::size_t column) const { return m_insert.GetName(column); }

private:
    InsertStatement m_insert;
    std::string m_statement;
};

} // namespace kwlookup
