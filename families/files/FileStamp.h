// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

namespace kwlookup {

/// Identifies a file and its state: device, inode, size and time of the last change.
class FileStamp {
public:
    /// The stamp of the file `name`; links are followed. Throws std::runtime_error "NAME: REASON",
    /// also if it is not a regular file.
    explicit FileStamp(const std::string& name);

    /// The stamp of the open file `file`; `name` is for messages.
    FileStamp(const std::string& name, int file);

    /// True for the same file, even if it was written to.
    bool IsSameFile(const FileStamp& other) const {
        return m_stat.st_dev == other.m_stat.st_dev && m_stat.st_ino == other.m_stat.st_ino;
    }

    /// True for the same file if it was not written to.
    bool IsUnchanged(const FileStamp& other) const {
        return IsSameFile(other) && m_stat.st_size == other.m_stat.st_size &&
               m_stat.st_mtim.tv_sec == other.m_stat.st_mtim.tv_sec &&
               m_stat.st_mtim.tv_nsec == other.m_stat.st_mtim.tv_nsec;
    }

    /// In bytes.
    std::uint64_t GetSize() const { return static_cast<std::uint64_t>(m_stat.st_size); }

private:
    void Check(const std::string& name, int status) const;

    struct stat m_stat = {};
};

} // namespace kwlookup
