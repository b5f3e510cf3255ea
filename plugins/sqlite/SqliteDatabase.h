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
        int timeout;     ///< the time to wait for a lock, in seconds
        int search_time; ///< the time for a statement once it has the lock, in milliseconds
    };

    enum class Access { Read, Write };

    /// Opens an existing file. Throws std::runtime_error "NAME: REASON".
    SqliteDatabase(const Settings& settings, Access access);

    /// True while the name still names the open file, even after writes, which searches see anyway.
    /// Throws std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsSameFile(m_stamp); }

protected:
    struct Close {
        void operator()(sqlite3* db) const { ::sqlite3_close_v2(db); }
        void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
    };

    using Statement = std::unique_ptr<sqlite3_stmt, Close>;

    const std::string& GetName() const { return m_name; }
    sqlite3* Get() const { return m_db.get(); }
    /// Throws the last error of SQLite.
    [[noreturn]] void Fail() const;
    Statement Prepare(const std::string& text);
    /// Check the file. Call in a derived constructor after preparing the statement, which gives the
    /// best error for a file that is not a database. Throws std::runtime_error "NAME: REASON" for a
    /// database that is incomplete or not in UTF-8.
    void CheckFile();

    /// Call at the start of a statement. Its time starts once it has the lock.
    void Begin() { m_time.reset(); }
    /// As sqlite3_step(). Throws std::runtime_error "NAME: REASON" after an error, also if the time
    /// is over.
    int Step(sqlite3_stmt* statement);

private:
    Statement Pragma(const std::string& name);
    /// SQLite's progress handler: a value other than 0 ends the statement.
    static int IsTimeOver(void* database);

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened; an outdated one is harmless
    const int m_search_time;
    std::optional<SearchTime> m_time;
    std::unique_ptr<sqlite3, Close> m_db;
};

} // namespace kwlookup
