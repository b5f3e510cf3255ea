// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/common/FileStamp.h"
#include "plugins/common/Values.h"

#include <db.h>
#include <memory>
#include <string>
#include <string_view>

/// An open Berkeley DB file, a hash or a btree, read without an environment.
///
/// Threads: one at a time.
class BerkeleyDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is no hash and no btree, is
    /// not whole, or holds several databases.
    explicit BerkeleyDatabase(const std::string& name);

    /// True while the name stands for the file as it was when it was opened. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsUnchanged(m_stamp); }

    /// Adds the value of the first record with this key to `values`, or of each, in the order of
    /// the file; false when there is none. Throws std::runtime_error "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    struct Close {
        void operator()(DB* db) const { db->close(db, DB_NOSYNC); }
        void operator()(DBC* cursor) const { cursor->close(cursor); }
    };

    [[noreturn]] void Fail(int error) const;
    template <typename Stat>
    void CheckSize(u_int32_t Stat::*pages, u_int32_t Stat::*page_size);
    bool FindAll(DBT& key, Values& values);

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened: an older one only reopens it
    std::unique_ptr<DB, Close> m_db;
};
