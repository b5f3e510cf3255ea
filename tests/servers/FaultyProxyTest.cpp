// SPDX-License-Identifier: MIT
#include "servers/FaultyProxy.h"
#include "servers/RedisServer.h"

#include <arpa/inet.h>
#include <cerrno>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

using namespace kwlookup;

namespace {

/// A connection that sends PING to Redis.
class Client {
public:
    explicit Client(int port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(
            ::connect(m_socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
            0);
        const timeval limit = {0, 300000};
        ::setsockopt(m_socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    }

    /// All that arrives until the connection ends or is silent, followed by how it ended.
    std::string Ask() {
        ::send(m_socket.Get(), "PING\r\n", 6, MSG_NOSIGNAL);
        std::string answer;
        char bytes[64];
        ssize_t got;
        while ((got = ::recv(m_socket.Get(), bytes, sizeof(bytes), 0)) > 0) {
            answer.append(bytes, static_cast<std::size_t>(got));
            if (answer == "+PONG\r\n")
                return answer;
        }
        return answer + (got == 0 ? " closed" : errno == ECONNRESET ? " reset" : " silent");
    }

private:
    FileDescriptor m_socket;
};

const std::string PONG = "+PONG\r\n";

} // namespace

TEST(FaultyProxy, MakesTheFaultThatIsSet) {
    RedisServer server;
    FaultyProxy proxy(server.GetPort());
    Client first(proxy.GetPort());
    EXPECT_EQ(first.Ask(), PONG);
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);
    EXPECT_EQ(proxy.GetOpenCount(), 1);
    EXPECT_EQ(proxy.GetForwardedBytes(), PONG.size());

    for (std::size_t bytes = 0; bytes <= PONG.size(); ++bytes) {
        proxy.SetFault(FaultyProxy::Fault::Close, bytes);
        const std::string answer = Client(proxy.GetPort()).Ask();
        // Closing a socket with unread data sends a reset.
        EXPECT_EQ(answer.substr(0, bytes), PONG.substr(0, bytes));
        const std::string rest = answer.substr(bytes);
        EXPECT_TRUE(rest == " closed" || rest == " reset" || bytes == PONG.size()) << answer;
    }
    proxy.SetFault(FaultyProxy::Fault::Hang, 3);
    EXPECT_EQ(Client(proxy.GetPort()).Ask(), "+PO silent");
    proxy.SetFault(FaultyProxy::Fault::Hang);
    EXPECT_EQ(Client(proxy.GetPort()).Ask(), " silent");
    proxy.SetFault(FaultyProxy::Fault::Reset, 2);
    const std::string reset = Client(proxy.GetPort()).Ask();
    EXPECT_TRUE(reset == "+P reset" || reset == " reset") << reset;
    proxy.SetFault(FaultyProxy::Fault::Scramble, 1);
    const std::string scrambled = Client(proxy.GetPort()).Ask();
    EXPECT_EQ(scrambled.size(), PONG.size() + 7);
    EXPECT_EQ(scrambled[0], '+');
    EXPECT_NE(scrambled.substr(0, PONG.size()), PONG);
    proxy.SetFault(FaultyProxy::Fault::None);
    EXPECT_EQ(Client(proxy.GetPort()).Ask(), PONG);

    Client open(proxy.GetPort());
    EXPECT_EQ(open.Ask(), PONG);
    proxy.Disconnect();
    EXPECT_EQ(proxy.GetOpenCount(), 0);
    EXPECT_NE(open.Ask(), PONG);
}
