// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <map>
#include <set>
#include <string>

namespace kwlookup {

/// Wakes a thread when files in some directories have changed. It is a hint: some file systems
/// report no changes, and some changes of links are not seen. So look at the files now and then,
/// too.
///
/// Threads: one.
class DirectoryWatch {
public:
    DirectoryWatch();

    /// Returns a descriptor for poll(), readable after a change, or -1 where the system cannot
    /// watch directories.
    int GetDescriptor() const { return m_file ? m_file.Get() : -1; }

    /// Watches these directories, and no others. Returns false if one of them cannot be watched.
    bool Watch(const std::set<std::string>& directories);

    /// Forgets all changes so far.
    void Clear();

private:
    FileDescriptor m_file;
    std::map<std::string, int> m_watches;
};

} // namespace kwlookup
