// SPDX-License-Identifier: MIT
// Mail servers with the lines of docs/mail-servers.md ask the daemon with the configuration there.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/Postfix.h"
#include "kwlookupd/SmtpSession.h"

#include <boost/algorithm/string.hpp>
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <unistd.h>

namespace {

using testing::HasSubstr;

class MailServersPage : public testing::Test {
protected:
    MailServersPage() {
        std::filesystem::permissions(m_dir.Path("."), std::filesystem::perms(0755));
        std::string list = Block("");
        m_dir.Write("blocked", list.erase(0, list.find('\n') + 1));
        m_daemon = std::make_unique<Daemon>(m_dir, Block("ini"));
    }

    /// The first block of the page in `language`, with the paths and ports of this test.
    std::string Block(const std::string& language) const {
        std::ifstream in(SOURCE_DIR "/docs/mail-servers.md");
        const std::string page{std::istreambuf_iterator<char>(in), {}};
        const std::string start = "\n```" + language + "\n";
        const std::size_t begin = page.find(start);
        if (begin == std::string::npos)
            throw std::runtime_error("the page has no block " + language);
        const std::size_t end = page.find("\n```\n", begin + start.size());
        std::string block = page.substr(begin + start.size(), end + 1 - begin - start.size());
        boost::replace_all(block, "/run/kwlookupd/", m_dir.Path(""));
        boost::replace_all(block, "/etc/mail/", m_dir.Path(""));
        for (const auto& [shown, port] : m_ports)
            boost::replace_all(block, shown, ":" + std::to_string(port));
        return block;
    }

    const TempDir m_dir;
    const std::vector<std::pair<std::string, int>> m_ports{
        {":8823", UnusedPort()}, {":8824", UnusedPort()}, {":8826", UnusedPort()}};
    std::unique_ptr<Daemon> m_daemon;
};

TEST_F(MailServersPage, Postfix) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    for (const std::string way : {"table", "policy", "milter"}) {
        const std::string off = "smtpd_recipient_restrictions =\nsmtpd_milters =\n";
        const Postfix postfix(m_dir, "", off + Block("postfix-" + way));
        const std::unique_ptr<SmtpSession> client = postfix.Connect();
        const auto mail = [&](const std::string& sender) {
            const std::string reply = client->Say("MAIL FROM:<" + sender + ">");
            return reply[0] == '2' ? client->Say("RCPT TO:<a@example.test>") : reply;
        };
        const std::string refusal = mail("x@bulk.example");
        EXPECT_THAT(refusal, testing::StartsWith("55")) << way << postfix.GetLog();
        EXPECT_THAT(refusal, HasSubstr("5.7.1")) << way;
        EXPECT_THAT(refusal, HasSubstr("No bulk mail, please")) << way;
        client->Say("RSET");
        EXPECT_THAT(mail("x@slow.example"), testing::StartsWith("45")) << way;
        client->Say("RSET");
        EXPECT_EQ(mail("x@other.example"), "250 2.1.5 Ok") << way;
    }
}

TEST_F(MailServersPage, Sendmail) {
    const int port = UnusedPort();
    const std::string config = WriteSendmailConfig(
        m_dir, SendmailDaemonMacros(m_dir, port) + Block("sendmail-milter") +
                   "MAILER(local)dnl\nMAILER(smtp)dnl\n" + Block("sendmail-table"));
    const std::vector<std::string> environment = SendmailEnvironment(m_dir);
    const ProgramResult result =
        RunMailProgram({"usr/libexec/sendmail/sendmail", "-C", config, "-bt"},
                       "/map blocked x@bulk.example\n/map blocked x@other.example\n", environment);
    EXPECT_THAT(result.out, HasSubstr("returns REJECT 5.7.1 No bulk mail, please (0)"));
    EXPECT_THAT(result.out, HasSubstr("no match (68)"));

    const RunningProgram server(
        MailCommand({"usr/libexec/sendmail/sendmail", "-C", config, "-bD"}, environment));
    const auto connect = [&] {
        auto session = std::make_unique<SmtpSession>(port);
        session->Say("HELO client.test");
        return session;
    };
    auto session = connect();
    EXPECT_EQ(session->Mail("x@bulk.example"),
              "550 5.7.1 <x@bulk.example>... No bulk mail, please");
    EXPECT_EQ(session->Mail("x@slow.example"), "451 4.7.1 Try again tomorrow");
    EXPECT_THAT(session->Mail("x@other.example"), testing::StartsWith("250 "));
    m_daemon->Kill();
    session.reset();
    EXPECT_THAT(connect()->Mail("x@other.example"), testing::StartsWith("451 "));
    m_daemon->Start();
    EXPECT_THAT(connect()->Mail("x@other.example"), testing::StartsWith("250 "));
}

TEST_F(MailServersPage, Exim) {
    const std::string config =
        m_dir.Write("exim.conf", "keep_environment =\nspool_directory = " + m_dir.Path("") +
                                     "\nlog_file_path = " + m_dir.Path("%slog") +
                                     "\nprimary_hostname = mx.example.test\nhost_lookup =\n"
                                     "acl_smtp_mail = check_sender\nbegin acl\n" +
                                     Block("exim"));
    const auto mail = [&](const std::string& sender) {
        return RunMailProgram({"usr/sbin/exim4", "-C", config, "-bh", "192.0.2.7"},
                              "HELO client.test\r\nMAIL FROM:<" + sender + ">\r\nQUIT\r\n",
                              EximEnvironment(m_dir))
            .out;
    };
    EXPECT_THAT(mail("x@bulk.example"), HasSubstr("550 5.7.1 No bulk mail, please"));
    EXPECT_THAT(mail("spam@corp.lan"), HasSubstr("550 5.7.1 Not from you"));
    EXPECT_THAT(mail("x@other.example"), HasSubstr("250 OK"));
    EXPECT_THAT(mail(""), HasSubstr("250 OK"));
    m_daemon->Kill();
    EXPECT_THAT(mail("x@other.example"), HasSubstr("451 Cannot look this up now"));
}

TEST_F(MailServersPage, Doveadm) {
    std::string words = Block("doveadm");
    words.pop_back();
    std::vector<std::string> doveadm;
    boost::split(doveadm, words, [](char c) { return c == ' '; });
    doveadm[0] = "usr/bin/doveadm";
    EXPECT_THAT(RunMailProgram(doveadm).out, HasSubstr("REJECT 5.7.1 No bulk mail, please"));
}

} // namespace
