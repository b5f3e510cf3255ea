// SPDX-License-Identifier: MIT
// A mail server asks the daemon, and the server of the daemon's list hangs.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/Postfix.h"
#include "servers/SilentListener.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <unistd.h>

namespace {

TEST_F(MailClients, PostfixGoesOnWhileTheServerOfAListHangs) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    m_daemon->Stop();
    const kwlookup::SilentListener server;
    std::string config = Config();
    const std::string objects = "Objects = file:@/none\n";
    config.replace(config.find(objects), objects.size(),
                   "Objects = redis:Hosts=" + server.GetHost() + "|GET $s\n");
    const Daemon daemon(m_dir, config);
    m_dir.Write("tcp.list", "listed@bad.test REJECT listed\n");
    ASSERT_EQ(daemon.Ctl({"reload", "tcp"}).status, 0);
    const Postfix postfix(m_dir,
                          "check_sender_access " + Tcp() + ", check_sender_access " + TcpDown());
    const std::unique_ptr<SmtpSession> client = postfix.Connect();
    for (int i = 0; i < 3; ++i) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(client->Mail("good@x.test"),
                  "451 4.3.5 <good@x.test>: Sender address rejected: Server configuration error");
        // Without an answer after AnswerTime, smtpd would ask ten times, a second apart.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6));
        EXPECT_THAT(client->Mail("listed@bad.test"), testing::HasSubstr("rejected: listed"));
    }
    EXPECT_THAT(daemon.GetLog(), testing::HasSubstr("the question for [good@x.test] timed out"));
}

} // namespace
