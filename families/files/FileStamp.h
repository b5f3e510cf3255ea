// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

namespace kwlookup {

/// What tells a file from the one that takes its name later.
class FileStamp {
public:
    /// Of the file `name`, once links are followed. Throws std::runtime_error "NAME: REASON", also
    /// for what is not a regular file.
    explicit FileStamp(const std::string& name);

    /// Of the open file `file`; `name` is for the message.
    FileStamp(const std::string& name, int file);

    /// The same file, whatever was written to it since.
    bool IsSameFile(const FileStamp& other) const {
        return m_stat.st_dev == other.m_stat.st_dev && m_stat.st_ino == other.m_stat.st_ino;
    }

    /// The same file, and nobody has written to it since.
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
