// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoredRow.h"

#include <memory>
#include <mysql.h>
#include <string>
#include <vector>

namespace kwlookup {

/// An insert statement that the server has prepared.
///
/// Threads: one at a time. All calls while a MysqlWait is there.
class MysqlInserter {
public:
    /// Prepares `text`. Throws what FailMysql() throws.
    MysqlInserter(MYSQL* mysql, const std::string& text);

    /// Throws what FailMysql() throws.
    void Insert(const StoredRow& row);

private:
    struct Close {
        void operator()(MYSQL_STMT* statement) const { ::mysql_stmt_close(statement); }
    };

    [[noreturn]] void Fail() const;

    std::unique_ptr<MYSQL_STMT, Close> m_statement;
    std::vector<MYSQL_BIND> m_values;
    std::vector<unsigned long> m_lengths;
};

} // namespace kwlookup
