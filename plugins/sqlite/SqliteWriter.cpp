// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteWriter.h"

#include <memory>
#include <unistd.h>

namespace kwlookup {

SqliteWriter::SqliteWriter(const Settings& settings, const std::string& statement)
    : SqliteDatabase(settings, Access::Write), m_process(::getpid()),
      // Takes the lock at once: SQLite does not wait for it once a transaction has read.
      m_begin(Prepare("begin immediate")), m_insert(Prepare(statement)),
      m_commit(Prepare("commit")), m_rollback(Prepare("rollback")) {
    CheckFile();
}

bool SqliteWriter::IsOwn() const {
    return m_process == ::getpid();
}

void SqliteWriter::Store(const std::vector<StoredRow>& rows, StoreProgress& progress) {
    Execute(m_begin);
    try {
        for (const StoredRow& row : rows) {
            Bind(row);
            Execute(m_insert);
            ++progress.row;
        }
        Execute(m_commit);
    } catch (...) {
        // Some errors end the transaction by themselves.
        if (::sqlite3_get_autocommit(Get()) == 0) {
            ::sqlite3_step(m_rollback.get());
            ::sqlite3_reset(m_rollback.get());
        }
        ::sqlite3_clear_bindings(m_insert.get());
        throw;
    }
    ::sqlite3_clear_bindings(m_insert.get());
}

void SqliteWriter::Execute(const Statement& statement) {
    Begin();
    const std::unique_ptr<sqlite3_stmt, decltype(&::sqlite3_reset)> running(statement.get(),
                                                                            ::sqlite3_reset);
    Step(statement.get());
}

void SqliteWriter::Bind(const StoredRow& row) {
    int number = 0;
    for (const StoredValue& value : row) {
        ++number;
        const int bound =
            value.type == KwStorageValuesMap::Int
                ? ::sqlite3_bind_int64(m_insert.get(), number, value.number)
                : ::sqlite3_bind_text64(m_insert.get(), number, value.text.data(),
                                        value.text.size(), SQLITE_STATIC, SQLITE_UTF8);
        if (bound != SQLITE_OK)
            Fail();
    }
}

} // namespace kwlookup
