// SPDX-License-Identifier: MIT
#pragma once

#include "RemoveOnSignal.h"
#include "text/FileDescriptor.h"

#include <string>
#include <sys/stat.h>

namespace kwlookup {

/// A file that is written beside the one that it is to replace, so that no reader ever sees half of
/// it. All operations throw std::runtime_error "NAME: REASON". A signal that ends the process
/// leaves nothing of the new file, as RemoveOnSignal has it.
///
/// Threads: one.
class NewFile {
public:
    /// `name` is the file to make or to replace; links are followed. The new file gets the mode and
    /// the group of the old one, and its owner where the system allows it. What killed processes
    /// have left of new files is removed; a lock tells those of living ones.
    explicit NewFile(const std::string& name);
    /// Without Finish() nothing is left of the new file.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Where the file is to be in the end.
    const std::string& GetName() const { return m_name; }
    /// Where it is until then.
    const std::string& GetNewName() const { return m_new_name; }
    int GetDescriptor() const { return m_file.Get(); }

    /// Writes the file to the disk, and gives it its name.
    void Finish();

    /// Throws the reason in errno.
    [[noreturn]] void Fail() const;

private:
    void MakeNewFile();
    void KeepOwner(const struct stat& old) const;

    const std::string m_name;
    std::string m_new_name; ///< empty once it is no more
    const RemoveOnSignal m_remove_on_signal;
    FileDescriptor m_directory;
    FileDescriptor m_file;
};

} // namespace kwlookup
