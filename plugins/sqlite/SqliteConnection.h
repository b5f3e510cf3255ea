// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/common/FileStamp.h"
#include "plugins/common/Values.h"

#include <memory>
#include <sqlite3.h>
#include <string>
#include <string_view>

/// A database file, open for reading, with one statement that takes one value.
///
/// Threads: one at a time.
class SqliteConnection {
public:
    /// `timeout` is the time in seconds to wait for a lock. Throws std::runtime_error "NAME:
    /// REASON", also for a database that is not whole, or not in UTF-8.
    SqliteConnection(const std::string& name, const std::string& statement, int timeout);

    /// True while the name stands for the file that is open; what is written to it is seen without
    /// this. Throws std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsSameFile(m_stamp); }

    /// Adds the columns of all rows for `value`, in order, to `values`; false when there is no row.
    /// Throws std::runtime_error "NAME: REASON", also for more than `max_rows` rows.
    bool Find(std::string_view value, int max_rows, Values& values);

private:
    struct Close {
        void operator()(sqlite3* db) const { ::sqlite3_close_v2(db); }
        void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
    };

    using Statement = std::unique_ptr<sqlite3_stmt, Close>;

    [[noreturn]] void Fail() const;
    Statement Prepare(const std::string& text);
    Statement Pragma(const std::string& name);
    void CheckFile();
    void AddRow(Values& values) const;

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened: an older one only reopens it
    std::unique_ptr<sqlite3, Close> m_db;
    Statement m_statement;
};
