// SPDX-License-Identifier: MIT
// A mail server asks the daemon, and the server of the daemon's list hangs.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/Postfix.h"
#include "servers/SilentListener.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using kwlookup::FileDescriptor;

/// A server that accepts connections and says nothing, or begins an answer that grows by a byte a
/// second.
class HungServer {
public:
    explicit HungServer(bool drips)
        : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_drips(drips) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const bytes = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        if (::bind(m_listener.Get(), bytes, size) != 0 || ::listen(m_listener.Get(), 10) != 0 ||
            ::getsockname(m_listener.Get(), bytes, &size) != 0)
            throw std::runtime_error("cannot listen");
        m_host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        m_thread = std::thread([this] { Run(); });
    }
    ~HungServer() {
        m_ends = true;
        m_thread.join();
    }

    const std::string& GetHost() const { return m_host; }
    int CountClients() const { return m_count; }

private:
    void Run() {
        std::vector<FileDescriptor> clients;
        while (!m_ends) {
            pollfd waited{m_listener.Get(), POLLIN, 0};
            if (::poll(&waited, 1, 1000) > 0) {
                clients.emplace_back(::accept(m_listener.Get(), nullptr, nullptr));
                ++m_count;
            }
            for (const FileDescriptor& client : clients)
                if (m_drips)
                    ::send(client.Get(), "+", 1, MSG_NOSIGNAL); // a text that has no end
        }
    }

    const FileDescriptor m_listener;
    const bool m_drips;
    std::string m_host;
    std::atomic<bool> m_ends{false};
    std::atomic<int> m_count{0};
    std::thread m_thread;
};

TEST_F(MailClients, PostfixGoesOnWhileTheServerOfAListHangs) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    m_daemon->Stop();
    const kwlookup::SilentListener accepts_nobody;
    const HungServer silent(false), drips(true);
    m_dir.Write("tcp.list", "listed@bad.test REJECT listed\n");
    for (const std::string& host : {accepts_nobody.GetHost(), silent.GetHost(), drips.GetHost()}) {
        std::string config = Config();
        const std::string objects = "Objects = file:@/none\n";
        config.replace(config.find(objects), objects.size(),
                       "Objects = redis:Hosts=" + host + "|GET $s\n");
        const Daemon daemon(m_dir, config);
        const Postfix postfix(m_dir, "check_sender_access " + Tcp() + ", check_sender_access " +
                                         TcpDown());
        const std::unique_ptr<SmtpSession> client = postfix.Connect();
        for (int i = 0; i < 3; ++i) {
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(
                client->Mail("good@x.test"),
                "451 4.3.5 <good@x.test>: Sender address rejected: Server configuration error");
            // Without an answer after AnswerTime, smtpd would ask ten times, a second apart.
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6));
            EXPECT_THAT(client->Mail("listed@bad.test"), testing::HasSubstr("rejected: listed"));
        }
        EXPECT_THAT(daemon.GetLog(),
                    testing::HasSubstr("the question for [good@x.test] timed out"));
    }
    EXPECT_GT(silent.CountClients(), 0);
    EXPECT_GT(drips.CountClients(), 0);
}

} // namespace
