// SPDX-License-Identifier: MIT
#include "text/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kwlookup {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (m_fd >= 0)
        ::close(m_fd);
}

FileDescriptor FileDescriptor::OpenForReading(const std::string& name, int flags) {
    int fd;
    do
        fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags);
    while (fd < 0 && errno == EINTR);
    return FileDescriptor(fd);
}

} // namespace kwlookup
