// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/InsertStatement.h"

#include <string>

namespace kwlookup {

/// The insert statement of an item, as MariaDB and MySQL take it.
class MysqlInsert {
public:
    explicit MysqlInsert(const InsertStatement& insert)
        : m_statement(insert.Text('`', '?')), m_table(insert.GetTable()) {}

    const std::string& GetStatement() const { return m_statement; }
    /// Letters, digits and '_' only.
    const std::string& GetTable() const { return m_table; }

private:
    std::string m_statement;
    std::string m_table;
};

} // namespace kwlookup
