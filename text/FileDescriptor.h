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

    /// Opens `name`, closed on exec, with `flags` of open(2) in addition. Empty, with the reason in
    /// errno, when that fails. A file of which all is read is opened by OpenInput() instead.
    static FileDescriptor OpenForReading(const std::string& name, int flags = 0);

    explicit operator bool() const { return m_fd >= 0; }
    int Get() const { return m_fd; }

private:
    int m_fd = -1;
};

} // namespace kwlookup
