// SPDX-License-Identifier: MIT
// Mail servers ask the daemon during SMTP sessions.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/SmtpSession.h"

#include <gtest/gtest.h>

#include <functional>
#include <unistd.h>

namespace {

/// Sessions in which the mail server asks the list "socketmap" about senders, and the list "down"
/// about those of the domain down.test. It refuses listed senders with "550 listed: RESULT", and
/// those that it cannot ask about with "451 cannot ask now".
class MailSessions : public MailClients {
protected:
    struct SenderCase {
        std::string sender;
        std::string reply; ///< its code, and what it tells of the list
    };

    MailSessions() {
        m_dir.Write("socketmap.list",
                    "listed@bad.test first result\nplain@bad.test\n<> no bounces\n"
                    "\"a,b\"@bad.test quoted\nc,d@bad.test bare\ngr\xc3\xbcn@bad.test eight bits\n"
                    "all.test whole domain\n");
        EXPECT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    }

    /// The reply to a sender without the mail server's own words.
    static std::string MailFrom(SmtpSession& session, const std::string& sender) {
        const std::string reply = session.Mail(sender);
        for (const char* text : {"listed: ", "cannot ask now"}) {
            const std::size_t at = reply.find(text);
            if (at != std::string::npos)
                return reply.substr(0, 4) + reply.substr(at);
        }
        return reply.substr(0, 3);
    }

    /// Writes a configuration of Exim.
    std::string WriteEximConfig() const {
        const bool root = ::geteuid() == 0;
        const std::string user = root ? "nobody" : std::to_string(::geteuid());
        const std::string group = root ? "65534" : std::to_string(::getegid());
        const std::string socket = m_dir.Path("socketmap");
        // An answer that is neither "found" nor "not found" may be part of one.
        return m_dir.Write(
            "exim.conf",
            "keep_environment =\nspool_directory = " + m_dir.Path("spool") +
                "\nlog_file_path = " + m_dir.Path("%slog") + "\nexim_user = " + user +
                "\nexim_group = " + group + "\npid_file_path = " + m_dir.Path("pid") +
                "\nprimary_hostname = mx.example.test\nsmtp_accept_max_nonmail = "
                "100\nacl_smtp_mail = "
                "mail\n"
                "begin acl\nmail:\n"
                "  warn set acl_m1 = ${if eq{$sender_address_domain}{down.test}"
                "{down}{socketmap}} $sender_address\n"
                "       set acl_m0 = ${readsocket{" +
                socket +
                "}{${strlen:$acl_m1}:$acl_m1,}{5s}{}{SOCKFAIL}}\n"
                "  deny condition = ${if match{$acl_m0}{\\N^\\d+:OK (.*),$\\N}{yes}{no}}\n"
                "       message = listed: ${if match{$acl_m0}{\\N^\\d+:OK (.*),$\\N}{$1}}\n"
                "  defer condition = ${if match{$acl_m0}{\\N^\\d+:NOTFOUND ,$\\N}{no}{yes}}\n"
                "       message = cannot ask now\n"
                "  accept\n");
    }

    /// Mails from each sender; then with a new list, without the daemon, and with it again.
    /// `connect` begins a session.
    void Talk(const std::function<std::unique_ptr<SmtpSession>()>& connect) {
        const SenderCase cases[] = {
            {"listed@bad.test", "550 listed: first result"},
            {"Listed@Bad.TEST", "550 listed: first result"},
            {"plain@bad.test", "550 listed: plain@bad.test"},
            {"anybody@all.test", "550 listed: whole domain"},
            {"anybody@sub.all.test", "250"},
            {"none@bad.test", "250"},
            {"", "550 listed: no bounces"},
            {"\"a,b\"@bad.test", "550 listed: quoted"},
            {"\"c,d\"@bad.test", "550 listed: bare"},
            {"\"a c\"@bad.test", "250"},
            {std::string(200, 'x') + "@all.test", "550 listed: whole domain"},
            {"gr\xc3\xbcn@bad.test", "550 listed: eight bits"},
            {"listed@down.test", "451 cannot ask now"},
            {"listed@bad.test", "550 listed: first result"}, // the session goes on
        };
        std::unique_ptr<SmtpSession> session = connect();
        for (const SenderCase& each : cases)
            EXPECT_EQ(MailFrom(*session, each.sender), each.reply) << each.sender;

        // The same session sees a reload.
        m_dir.Write("socketmap.list", "none@bad.test second result\n");
        EXPECT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
        EXPECT_EQ(MailFrom(*session, "none@bad.test"), "550 listed: second result");
        EXPECT_EQ(MailFrom(*session, "listed@bad.test"), "250");

        // It refuses nothing for good while the daemon is away.
        m_daemon->Kill();
        EXPECT_EQ(MailFrom(*session, "none@bad.test").substr(0, 3), "451");
        EXPECT_EQ(MailFrom(*session, "other@bad.test").substr(0, 3), "451");
        m_daemon->Start();
        session = connect();
        EXPECT_EQ(MailFrom(*session, "none@bad.test"), "550 listed: second result");
        EXPECT_EQ(MailFrom(*session, "other@bad.test"), "250");
    }
};

TEST_F(MailSessions, OfExim) {
    const std::vector<std::string> command = MailCommand(
        {"usr/sbin/exim4", "-C", WriteEximConfig(), "-bh", "192.0.2.1"}, EximEnvironment(m_dir));
    Talk([&] {
        auto session = std::make_unique<SmtpSession>(command);
        session->Say("HELO client.test");
        return session;
    });
}

TEST_F(MailSessions, OfEximAsADaemon) {
    const int port = UnusedPort();
    const std::string spool = m_dir.Path("spool");
    std::filesystem::create_directory(spool);
    kwlookup::GiveToServer(spool);
    const RunningProgram server(MailCommand({"usr/sbin/exim4", "-C", WriteEximConfig(), "-bdf",
                                             "-oX", "127.0.0.1." + std::to_string(port)},
                                            EximEnvironment(m_dir)));
    Talk([&] {
        auto session = std::make_unique<SmtpSession>(port);
        session->Say("HELO client.test");
        return session;
    });
}

TEST_F(MailSessions, OfSendmail) {
    const int port = UnusedPort();
    const std::string socket = m_dir.Path("socketmap");
    const std::string config =
        WriteSendmailConfig(m_dir, SendmailDaemonMacros(m_dir, port) +
                                       "MAILER(local)dnl\nMAILER(smtp)dnl\nLOCAL_CONFIG\n"
                                       "Ksocketmap socket -a<FOUND> -T<TMPF> unix:" +
                                       socket + "\nKdown socket -a<FOUND> -T<TMPF> unix:" + socket +
                                       "\nLOCAL_RULESETS\nSLocal_check_mail\n"
                                       "R$*\t$: $&f\n"
                                       "R$* @down.test\t$: $(down $1@down.test $: OKAY $)\n"
                                       "R$* <TMPF>\t$#error $@ 4.3.0 $: \"451 cannot ask now\"\n"
                                       "R$*\t$: $(socketmap $&f $: OKAY $)\n"
                                       "R$* <TMPF>\t$#error $@ 4.3.0 $: \"451 cannot ask now\"\n"
                                       "R$* <FOUND>\t$#error $@ 5.7.1 $: \"550 listed: \" $1\n");
    const RunningProgram server(MailCommand({"usr/libexec/sendmail/sendmail", "-C", config, "-bD"},
                                            SendmailEnvironment(m_dir)));
    const auto connect = [&] {
        auto session = std::make_unique<SmtpSession>(port);
        session->Say("HELO client.test");
        return session;
    };
    Talk(connect);
}

} // namespace
