// SPDX-License-Identifier: MIT
#include "plugins/firebird/LibrarySockets.h"

#include "text/FileDescriptor.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using kwlookup::FileDescriptor;
using kwlookup::LibrarySockets;

namespace {

/// Listens on a port of its own.
class Listener {
public:
    Listener() : m_socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        m_name.sin_family = AF_INET;
        m_name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(m_name);
        auto* const name = reinterpret_cast<sockaddr*>(&m_name);
        EXPECT_EQ(::bind(m_socket.Get(), name, size), 0);
        EXPECT_EQ(::listen(m_socket.Get(), 8), 0);
        EXPECT_EQ(::getsockname(m_socket.Get(), name, &size), 0);
    }
    int GetPort() const { return ntohs(m_name.sin_port); }
    FileDescriptor Connect() const {
        FileDescriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
        EXPECT_EQ(
            ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&m_name), sizeof(m_name)), 0);
        return socket;
    }

private:
    FileDescriptor m_socket;
    sockaddr_in m_name{};
};

bool IsShutDown(const FileDescriptor& socket) {
    char byte;
    return ::recv(socket.Get(), &byte, 1, MSG_DONTWAIT) == 0;
}

} // namespace

TEST(LibrarySocketsTest, EndsTheNewSocketsOfItsPortOnly) {
    const Listener server, other_server;
    const FileDescriptor before = server.Connect();
    LibrarySockets sockets(server.GetPort());
    const FileDescriptor during = server.Connect();
    const FileDescriptor elsewhere = other_server.Connect();
    sockets.Take();
    const FileDescriptor after = server.Connect();
    sockets.Shutdown();
    EXPECT_TRUE(IsShutDown(during));
    EXPECT_FALSE(IsShutDown(before));
    EXPECT_FALSE(IsShutDown(elsewhere));
    EXPECT_FALSE(IsShutDown(after));
}

TEST(LibrarySocketsTest, LeavesASocketAloneThatHasTheNumberOfAClosedOne) {
    const Listener server;
    LibrarySockets sockets(server.GetPort());
    FileDescriptor first = server.Connect();
    sockets.Take();
    const int number = first.Get();
    first = FileDescriptor();
    const FileDescriptor second = server.Connect();
    ASSERT_EQ(second.Get(), number);
    sockets.Shutdown();
    EXPECT_FALSE(IsShutDown(second));
}
