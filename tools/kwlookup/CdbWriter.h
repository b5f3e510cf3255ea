// SPDX-License-Identifier: MIT
#pragma once

#include "RemoveOnSignal.h"
#include "text/FileDescriptor.h"

#include <cdb.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace kwlookup {

/// Writes a cdb file beside the one to be replaced, so that no reader sees an incomplete file.
/// All operations throw std::runtime_error "NAME: REASON". RemoveOnSignal removes the new file when
/// a signal ends the process.
///
/// Threads: one.
class CdbWriter {
public:
    /// `name` is the file to make or to replace; links are followed. The new file gets the mode and
    /// the group of the old one, and its owner if the system allows it. New files that killed
    /// processes have left are removed; a running process keeps its own locked.
    explicit CdbWriter(const std::string& name);
    /// Removes the new file unless Finish() succeeded.
    ~CdbWriter();
    CdbWriter(const CdbWriter&) = delete;
    CdbWriter& operator=(const CdbWriter&) = delete;

    void Add(std::string_view key, std::string_view value);

    /// Write the file to the disk and rename it.
    void Finish();

private:
    [[noreturn]] void Fail() const;
    void MakeNewFile();
    void KeepOwner(const struct stat& old) const;

    const std::string m_name;
    std::string m_new_name; ///< empty once the file is renamed
    const RemoveOnSignal m_remove_on_signal;
    FileDescriptor m_directory;
    FileDescriptor m_file;
    cdb_make m_make = {};
    bool m_finished = false;
};

} // namespace kwlookup
