// SPDX-License-Identifier: MIT
#pragma once

#include "RemoveOnSignal.h"
#include "text/FileDescriptor.h"

#include <cdb.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace kwlookup {

/// Writes a cdb file beside the one that it is to replace, so that no reader ever sees half of it.
/// All operations throw std::runtime_error "NAME: REASON". A signal that ends the process leaves
/// nothing of the new file, as RemoveOnSignal has it.
///
/// Threads: one.
class CdbWriter {
public:
    /// `name` is the file to make or to replace; links are followed. The new file gets the mode and
    /// the group of the old one, and its owner where the system allows it. What killed processes
    /// have left of new files is removed; a lock tells those of living ones.
    explicit CdbWriter(const std::string& name);
    /// Without Finish() nothing is left of the new file.
    ~CdbWriter();
    CdbWriter(const CdbWriter&) = delete;
    CdbWriter& operator=(const CdbWriter&) = delete;

    void Add(std::string_view key, std::string_view value);

    /// Writes the file to the disk, and gives it its name.
    void Finish();

private:
    [[noreturn]] void Fail() const;
    void MakeNewFile();
    void KeepOwner(const struct stat& old) const;

    const std::string m_name;
    std::string m_new_name; ///< empty once it is no more
    const RemoveOnSignal m_remove_on_signal;
    FileDescriptor m_directory;
    FileDescriptor m_file;
    cdb_make m_make = {};
    bool m_finished = false;
};

} // namespace kwlookup
