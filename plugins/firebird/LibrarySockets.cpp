// SPDX-License-Identifier: MIT
#include "plugins/firebird/LibrarySockets.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>

namespace kwlookup {

namespace {

/// Returns the port that `fd` is connected to, or -1.
int PeerPort(int fd) {
    union {
        sockaddr_storage any;
        sockaddr_in ip4;
        sockaddr_in6 ip6;
    } name{};
    socklen_t size = sizeof(name);
    if (::getpeername(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0)
        return -1;
    return name.any.ss_family == AF_INET    ? ntohs(name.ip4.sin_port)
           : name.any.ss_family == AF_INET6 ? ntohs(name.ip6.sin6_port)
                                            : -1;
}

} // namespace

void LibrarySockets::Take() {
    const std::vector<Socket> now = List();
    std::copy_if(now.begin(), now.end(), std::back_inserter(m_taken), [this](const Socket& socket) {
        return std::find(m_before.begin(), m_before.end(), socket) == m_before.end();
    });
}

void LibrarySockets::Shutdown() const {
    const std::vector<Socket> now = List();
    for (const Socket& socket : m_taken)
        if (std::find(now.begin(), now.end(), socket) != now.end())
            ::shutdown(socket.fd, SHUT_RDWR);
}

/// Returns the sockets of this process that are connected to the port.
std::vector<LibrarySockets::Socket> LibrarySockets::List() const {
    std::vector<Socket> sockets;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end;
         !error && entry != end; entry.increment(error)) {
        const int fd = std::atoi(entry->path().filename().c_str());
        struct stat status {};
        if (PeerPort(fd) == m_port && ::fstat(fd, &status) == 0)
            sockets.push_back({fd, status.st_ino});
    }
    return sockets;
}

} // namespace kwlookup
