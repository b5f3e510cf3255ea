// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/common/FileStamp.h"
#include "plugins/common/Values.h"

#include <cdb.h>
#include <string>
#include <string_view>

/// An open cdb file, mapped into memory.
///
/// Threads: one at a time.
class CdbDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is no cdb, or not a whole
    /// one.
    explicit CdbDatabase(const std::string& name);
    ~CdbDatabase();
    CdbDatabase(const CdbDatabase&) = delete;
    CdbDatabase& operator=(const CdbDatabase&) = delete;

    /// True while the name stands for the very file that is open. Throws std::runtime_error "NAME:
    /// REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsUnchanged(m_stamp); }

    /// Adds the value of the first record with this key to `values`, or of each, in the order of
    /// the file; false when there is none. Throws std::runtime_error "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    [[noreturn]] void Fail(int error) const;
    void CheckTables();

    const std::string m_name;
    const FileStamp m_stamp; ///< taken before the file is opened: an older one only reopens it
    cdb m_cdb = {};
};
