// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/InsertStatement.h"

#include <string>

namespace kwlookup {

/// The insert statement of an item, as PostgreSQL takes it.
class PostgresInsert {
public:
    explicit PostgresInsert(const InsertStatement& insert) : m_statement(insert.Text('"', '$')) {}

    const std::string& GetStatement() const { return m_statement; }

private:
    std::string m_statement;
};

} // namespace kwlookup
