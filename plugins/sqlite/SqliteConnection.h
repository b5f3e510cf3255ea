// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileStamp.h"
#include "lookup/config/SearchTime.h"
#include "lookup/config/Values.h"

#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>
#include <string_view>

namespace kwlookup {

/// A database file, open for reading, with one statement that takes one value.
///
/// Threads: one at a time.
class SqliteConnection {
public:
    /// `timeout` is the time in seconds to wait for a lock, `search_time` that in milliseconds for
    /// a search once it has it. Throws std::runtime_error "NAME: REASON", also for a database that
    /// is not whole, or not in UTF-8.
    SqliteConnection(const std::string& name, const std::string& statement, int timeout,
                     int search_time);

    /// True while the name stands for the file that is open; what is written to it is seen without
    /// this. Throws std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsSameFile(m_stamp); }

    /// Adds the columns of all rows for `value`, in order, to `values`; false when there is no row.
    /// Throws std::runtime_error "NAME: REASON", also for more than `max_rows` rows, and when the
    /// time is over.
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
    /// SQLite asks now and then: not 0 ends the statement.
    static int IsTimeOver(void* connection);
    void AddRow(Values& values) const;

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened: an older one only reopens it
    const int m_search_time;
    std::optional<SearchTime> m_time; ///< of the search, once it has done some work
    std::unique_ptr<sqlite3, Close> m_db;
    Statement m_statement;
};

} // namespace kwlookup
