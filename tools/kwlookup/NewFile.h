// SPDX-License-Identifier: MIT
#pragma once

#include "RemoveOnSignal.h"
#include "text/FileDescriptor.h"

#include <string>
#include <sys/stat.h>

namespace kwlookup {

/// A file that is written beside the file that it replaces, so that no reader ever sees half of it.
/// All operations throw std::runtime_error "NAME: REASON". If a signal ends the process, the new
/// file is removed; see RemoveOnSignal.
///
/// Threads: one.
class NewFile {
public:
    /// `name` is the file to make or to replace; links are followed. The new file gets the mode and
    /// the group of the old one, and its owner if the system allows that. New files that killed
    /// processes left behind are removed. Those of running processes are locked, and stay.
    explicit NewFile(const std::string& name);
    /// Removes the new file unless Finish() has been called.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// The final name.
    const std::string& GetName() const { return m_name; }
    /// The name until Finish().
    const std::string& GetNewName() const { return m_new_name; }
    int GetDescriptor() const { return m_file.Get(); }

    /// Writes the file to the disk, and renames it to its final name.
    void Finish();

    /// Throws with the reason in errno.
    [[noreturn]] void Fail() const;

private:
    void MakeNewFile();
    void KeepOwner(const struct stat& old) const;

    const std::string m_name;
    std::string m_new_name; ///< empty after the rename
    const RemoveOnSignal m_remove_on_signal;
    FileDescriptor m_directory;
    FileDescriptor m_file;
};

} // namespace kwlookup
