// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/Values.h"
#include "plugins/sqlite/SqliteDatabase.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// A database file, open for reading, with one statement that takes one value.
///
/// Threads: one at a time.
class SqliteConnection : public SqliteDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a database that is incomplete or not in
    /// UTF-8.
    SqliteConnection(const Settings& settings, const std::string& statement)
        : SqliteDatabase(settings, Access::Read), m_statement(Prepare(statement)) {
        CheckFile();
    }

    /// Add the columns of all rows for `value`, in order, to `values`. False if there is no row.
    /// Throws std::runtime_error "NAME: REASON", also for more than `max_rows` rows and when the
    /// time is over.
    bool Find(std::string_view value, int max_rows, Values& values);

private:
    void AddRow(Values& values) const;

    Statement m_statement;
};

} // namespace kwlookup
