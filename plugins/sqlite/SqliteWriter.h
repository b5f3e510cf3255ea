// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "plugins/sqlite/SqliteDatabase.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

/// A database file, open for writing, with one statement that takes the values of a row.
///
/// Threads: one at a time.
class SqliteWriter : public SqliteDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a database that is not whole, or not in
    /// UTF-8.
    SqliteWriter(const Settings& settings, const std::string& statement);

    /// Stores all of `rows` in one transaction: all of them or none. Throws std::runtime_error
    /// "NAME: REASON".
    void Store(const std::vector<StoredRow>& rows, StoreProgress& progress);

    /// True in the process that opened it. In a child after fork(2) it must neither be used nor
    /// closed: the locks of SQLite do not pass on.
    bool IsOwn() const;

private:
    void Execute(const Statement& statement);
    void Bind(const StoredRow& row);

    const pid_t m_process;
    Statement m_begin;
    Statement m_insert;
    Statement m_commit;
    Statement m_rollback;
};

} // namespace kwlookup
