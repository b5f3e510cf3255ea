// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileStamp.h"
#include "lookup/config/SearchTime.h"

#include <memory>
#include <optional>
#include <sqlite3.h>
#include <string>

namespace kwlookup {

/// An open database file.
///
/// Threads: one at a time.
class SqliteDatabase {
public:
    struct Settings {
        std::string name;
        int timeout;     ///< in seconds: to wait for a lock
        int search_time; ///< in milliseconds: for a statement once it has the lock
    };

    enum class Access { Read, Write };

    /// Opens a file that is there. Throws std::runtime_error "NAME: REASON".
    SqliteDatabase(const Settings& settings, Access access);

    /// True while the name stands for the file that is open; what is written to it is seen without
    /// this. Throws std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsSameFile(m_stamp); }

protected:
    struct Close {
        void operator()(sqlite3* db) const { ::sqlite3_close_v2(db); }
        void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
    };

    using Statement = std::unique_ptr<sqlite3_stmt, Close>;

    const std::string& GetName() const { return m_name; }
    sqlite3* Get() const { return m_db.get(); }
    /// Throws what SQLite last complained of.
    [[noreturn]] void Fail() const;
    Statement Prepare(const std::string& text);
    /// For a derived constructor, once its statement is prepared, which tells best what a file is
    /// that is no database. Throws std::runtime_error "NAME: REASON" for a database that is not
    /// whole, or not in UTF-8.
    void CheckFile();

    /// A statement begins, whose time begins once it has done some work.
    void Begin() { m_time.reset(); }
    /// As sqlite3_step(). Throws std::runtime_error "NAME: REASON" when it gives neither a row nor
    /// the end, also when the time is over.
    int Step(sqlite3_stmt* statement);

private:
    Statement Pragma(const std::string& name);
    /// SQLite asks now and then: not 0 ends the statement.
    static int IsTimeOver(void* database);

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened: an older one only reopens it
    const int m_search_time;
    std::optional<SearchTime> m_time;
    std::unique_ptr<sqlite3, Close> m_db;
};

} // namespace kwlookup
