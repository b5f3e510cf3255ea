// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

namespace kwlookup {

/// Owns an open file descriptor.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    ~FileDescriptor();

    /// Opens `name` for reading, with close-on-exec and the given `flags` of open(2). On failure
    /// the result is empty and errno has the reason. To read a whole file, use OpenInput().
    static FileDescriptor OpenForReading(const std::string& name, int flags = 0);

    explicit operator bool() const { return m_fd >= 0; }
    int Get() const { return m_fd; }

private:
    int m_fd = -1;
};

} // namespace kwlookup
