// SPDX-License-Identifier: MIT
#include "families/servers/ConnectedSockets.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace kwlookup {

namespace {

/// Returns the port of one end of the socket `fd`, or -1. `name_of` is getpeername or getsockname.
template <typename NameOf>
int Port(int fd, NameOf&& name_of) {
    union {
        sockaddr_storage any;
        sockaddr_in ip4;
        sockaddr_in6 ip6;
    } name{};
    socklen_t size = sizeof(name);
    if (name_of(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0)
        return -1;
    return name.any.ss_family == AF_INET    ? ntohs(name.ip4.sin_port)
           : name.any.ss_family == AF_INET6 ? ntohs(name.ip6.sin6_port)
                                            : -1;
}

} // namespace

std::vector<ConnectedSocket> ListConnectedSockets() {
    std::vector<ConnectedSocket> sockets;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc/self/fd", error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code closed; // by another thread
        std::string name = std::filesystem::read_symlink(entry->path(), closed); // "socket:[4711]"
        if (name.rfind("socket:", 0) != 0)
            continue;
        const int fd = std::atoi(entry->path().filename().c_str());
        const int peer_port = Port(fd, ::getpeername);
        if (peer_port != -1)
            sockets.push_back({fd, std::move(name), Port(fd, ::getsockname), peer_port});
    }
    return sockets;
}

std::vector<ConnectedSocket> NewSockets(const std::vector<ConnectedSocket>& before,
                                        const std::vector<ConnectedSocket>& now) {
    std::vector<ConnectedSocket> added;
    std::copy_if(now.begin(), now.end(), std::back_inserter(added), [&](const auto& socket) {
        return std::find(before.begin(), before.end(), socket) == before.end();
    });
    return added;
}

} // namespace kwlookup
