// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "plugins/sqlite/SqliteDatabase.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

/// A database file, open for writing, with one statement that inserts a row.
///
/// Threads: one at a time.
class SqliteWriter : public SqliteDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a database that is incomplete or not in
    /// UTF-8.
    SqliteWriter(const Settings& settings, const std::string& statement);

    /// Store all of `rows` in one transaction, or none of them. Throws std::runtime_error "NAME:
    /// REASON".
    void Store(const std::vector<StoredRow>& rows, StoreProgress& progress);

    /// True in the process that opened the file. In a child process after fork(2), neither use nor
    /// close it, because SQLite's locks are not inherited.
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
