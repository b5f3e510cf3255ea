// SPDX-License-Identifier: MIT
#include "families/servers/Socket.h"

#include "families/servers/ConnectToAny.h"
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

[[noreturn]] void Fail(int error) {
    throw ServerFault(SystemErrorText(error));
}

FileDescriptor Connect(const Address& address, Deadline deadline) {
    const int family = address.bytes.ss_family;
    FileDescriptor socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket)
        Fail(errno);
    if (family != AF_UNIX) {
        const int on = 1;
        ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    }
    const auto* const bytes = reinterpret_cast<const sockaddr*>(&address.bytes);
    if (::connect(socket.Get(), bytes, address.size) == 0)
        return socket;
    // For a unix socket whose queue is full, the error is EAGAIN, and waiting would not help.
    if (errno != EINPROGRESS && errno != EINTR)
        Fail(errno);
    if (!WaitFor(socket.Get(), POLLOUT, deadline))
        Fail(ETIMEDOUT);
    int error = 0;
    socklen_t size = sizeof(error);
    if (::getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
        Fail(errno);
    if (error != 0)
        Fail(error);
    return socket;
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
    FileDescriptor socket;
    ConnectToAny(server, deadline, [&socket](const Address& address, Deadline share, bool&) {
        socket = Connect(address, share);
    });
    return socket;
}

} // namespace kwlookup
