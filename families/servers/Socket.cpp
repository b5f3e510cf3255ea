// SPDX-License-Identifier: MIT
#include "families/servers/Socket.h"

#include "families/servers/Resolve.h"
#include "families/servers/ServerFault.h"
#include "text/SystemError.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace kwlookup {
namespace {

/// 0, or the error number.
int Connect(const FileDescriptor& socket, const Address& address, Deadline deadline) {
    const auto* const bytes = reinterpret_cast<const sockaddr*>(&address.bytes);
    if (::connect(socket.Get(), bytes, address.size) == 0)
        return 0;
    // A unix socket whose queue is full says EAGAIN, and there is nothing to wait for.
    if (errno != EINPROGRESS && errno != EINTR)
        return errno;
    if (!WaitFor(socket.Get(), POLLOUT, deadline))
        return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof(error);
    if (::getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
        return errno;
    return error;
}

} // namespace

bool WaitFor(int fd, short events, Deadline deadline) {
    pollfd wanted{fd, events, 0};
    for (;;) {
        const int ready = ::poll(&wanted, 1, deadline.GetMsLeft());
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        if (deadline.IsOver())
            return false;
    }
}

FileDescriptor ConnectSocket(const Server& server, Deadline deadline) {
    const std::vector<Address> addresses = Resolve(server, deadline);
    int error = 0;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        const Address& address = addresses[i];
        FileDescriptor socket(
            ::socket(address.bytes.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (!socket) {
            error = errno;
            continue;
        }
        if (!server.IsUnix()) {
            const int on = 1;
            ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        }
        const std::chrono::milliseconds share(deadline.GetMsLeft() /
                                              static_cast<int>(addresses.size() - i));
        error = Connect(socket, address, deadline.Within(share));
        if (error == 0)
            return socket;
    }
    throw ServerFault(SystemErrorText(error));
}

} // namespace kwlookup
