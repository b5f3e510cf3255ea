// SPDX-License-Identifier: MIT
// Mail servers that are slow, or must be unpacked apart from the others.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/Postfix.h"
#include "kwlookupd/SmtpSession.h"

#include <boost/algorithm/string.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::StartsWith;

namespace {

using std::chrono::seconds;
using LongClock = std::chrono::steady_clock;

/// Waits until `holds`, for at most so long.
template <typename Condition>
bool WaitFor(seconds limit, const Condition& holds) {
    const auto end = LongClock::now() + limit;
    while (!holds()) {
        if (LongClock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

/// Skips its tests unless it runs as root.
class RootMailClients : public MailClients {
protected:
    void SetUp() override {
        if (::geteuid() != 0)
            GTEST_SKIP() << "only root can mount what these servers need";
    }
};

/// The command line that runs a program of the packages that are unpacked in build/NAME.
std::vector<std::string> UnpackedCommand(const std::string& name, const TempDir& dir,
                                         const std::vector<std::string>& arguments) {
    std::filesystem::create_directory(dir.Path("mounts"));
    std::vector<std::string> command = {RUN_UNPACKED, BUILD_DIR "/" + name, dir.Path(".")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

class OpenSmtpd : public RootMailClients {
protected:
    OpenSmtpd() {
        m_dir.Write("socketmap.list", "alice@example.test root\n");
        EXPECT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    }

    /// Starts smtpd with `config` and a listener with `options`.
    void StartSmtpd(const std::string& config, const std::string& options) {
        m_port = UnusedPort();
        std::filesystem::remove(m_dir.Path("mounts"));
        const std::string file =
            m_dir.Write("smtpd.conf", config + "listen on 127.0.0.1 port " +
                                          std::to_string(m_port) + " " + options + "\n");
        m_server = std::make_unique<RunningProgram>(
            UnpackedCommand("opensmtpd", m_dir, {"/usr/sbin/smtpd", "-d", "-f", file}));
    }

    std::unique_ptr<SmtpSession> Connect() const {
        auto session = std::make_unique<SmtpSession>(m_port);
        session->Say("HELO client.test");
        return session;
    }

    int m_port = 0;
    std::unique_ptr<RunningProgram> m_server;
};

TEST_F(OpenSmtpd, StartsTheFilter) {
    m_dir.Write("filter.list",
                "listed@bad.test REJECT 5.1.8 listed\nplain@bad.test\n"
                "later@bad.test DEFER later\n<> REJECT no bounces\n"
                "friend@all.test OK\nall.test REJECT all\nrcpt@example.test REJECT recipient\n");
    const std::string filter = KWLOOKUP_TOOL " filter opensmtpd --sub-address + --ask sender "
                                             "--ask recipient 'file:" +
                               m_dir.Path("filter.list") + "'";
    // The lines of the manual page, with this filter and address.
    std::ifstream in(SOURCE_DIR "/tools/kwlookup/kwlookup.1");
    std::string page{std::istreambuf_iterator<char>(in), {}};
    page = page.substr(page.find("\nfilter kw ") + 1);
    page = page.substr(0, page.find(".Ed\n"));
    const std::string command = "/usr/bin/kwlookup filter opensmtpd file:/etc/mail/blocked";
    const std::string listen = "listen on 0.0.0.0 ";
    ASSERT_NE(page.find(command), std::string::npos);
    ASSERT_NE(page.find(listen), std::string::npos);
    page.replace(page.find(command), command.size(), filter);
    const std::size_t end = page.find(listen);
    StartSmtpd("action \"drop\" maildir \"/tmp/none\"\n"
               "match from any for domain \"example.test\" action \"drop\"\n" +
                   page.substr(0, end),
               page.substr(end + listen.size()));
    const std::pair<std::string, std::string> cases[] = {
        {"listed@bad.test", "550 5.1.8 listed"},
        {"LISTED@Bad.Test", "550 5.1.8 listed"},
        {"listed+tag@bad.test", "550 5.1.8 listed"},
        {"plain@bad.test", "550 5.7.1 Access denied"},
        {"later@bad.test", "451 4.7.1 later"},
        {"", "550 5.7.1 no bounces"},
        {"x@all.test", "550 5.7.1 all"},
        {"friend@all.test", "250 "},
        {"none@bad.test", "250 "},
    };
    // Each refusal ends the session of this server.
    for (const auto& [sender, reply] : cases)
        EXPECT_THAT(Connect()->Say("MAIL FROM:<" + sender + ">"), StartsWith(reply)) << sender;
    const auto session = Connect();
    EXPECT_THAT(session->Say("MAIL FROM:<good@x.test>"), StartsWith("250 "));
    EXPECT_THAT(session->Say("RCPT TO:<rcpt@example.test>"), StartsWith("550 5.7.1 recipient"));
}

TEST_F(OpenSmtpd, RefusesForNowUntilTheFilterHasItsList) {
    const std::string filter =
        KWLOOKUP_TOOL " filter opensmtpd 'file:" + m_dir.Path("late.list") + "'";
    StartSmtpd("filter kw proc-exec \"" + filter +
                   "\"\naction \"drop\" maildir \"/tmp/none\"\n"
                   "match from any for domain \"example.test\" action \"drop\"\n",
               "filter kw");
    EXPECT_THAT(Connect()->Say("MAIL FROM:<listed@bad.test>"), StartsWith("451 4.3.0 "));
    EXPECT_THAT(Connect()->Say("MAIL FROM:<none@bad.test>"), StartsWith("451 4.3.0 "));
    m_dir.Write("late.list.new", "listed@bad.test REJECT listed\n");
    std::filesystem::rename(m_dir.Path("late.list.new"), m_dir.Path("late.list"));
    EXPECT_TRUE(WaitFor(seconds(60), [&] {
        const std::string reply = Connect()->Say("MAIL FROM:<listed@bad.test>");
        EXPECT_THAT(reply, testing::AnyOf(StartsWith("451 4.3.0 "), StartsWith("550 ")));
        return reply == "550 5.7.1 listed";
    }));
    EXPECT_THAT(Connect()->Say("MAIL FROM:<none@bad.test>"), StartsWith("250 "));
}

TEST_F(OpenSmtpd, AsksSocketmapByLines) {
    const std::string socket = m_dir.Path("socketmap");
    const std::string action = "\" maildir \"/tmp/none\" virtual ";
    const std::string config = "table socketmap socketmap:" + socket +
                               "\ntable down socketmap:" + socket + "\naction \"ask" + action +
                               "<socketmap>\naction \"ask-down" + action +
                               "<down>\n"
                               "match from any for domain \"example.test\" action \"ask\"\n"
                               "match from any for domain \"down.test\" action \"ask-down\"\n";
    StartSmtpd(config, "");
    const auto rcpt = [&](const std::string& address) {
        const auto session = Connect();
        EXPECT_THAT(session->Say("MAIL FROM:<a@x.test>"), StartsWith("250 "));
        return session->Say("RCPT TO:<" + address + ">").substr(0, 3);
    };
    EXPECT_EQ(rcpt("alice@example.test"), "250");
    EXPECT_EQ(rcpt("Alice+tag@Example.Test"), "250");
    EXPECT_EQ(rcpt("none@example.test"), "524");
    EXPECT_EQ(rcpt("none@down.test"), "424");
    m_dir.Write("socketmap.list", "none@example.test root\n");
    EXPECT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    EXPECT_EQ(rcpt("none@example.test"), "250");
    EXPECT_EQ(rcpt("alice@example.test"), "524");
    // Its helper does not connect again, but nothing is refused for good.
    m_daemon->Kill();
    EXPECT_EQ(rcpt("none@example.test"), "424");
    m_daemon->Start();
    m_server.reset();
    StartSmtpd(config, "");
    EXPECT_EQ(rcpt("none@example.test"), "250");
}

TEST_F(RootMailClients, DovecotReadsPasswords) {
    Load("dict", "pass/jdoe@x.test {\"password\":\"secret\"}\n");
    const std::string run = m_dir.Path("run");
    m_dir.Write("dict.conf", "uri = proxy:" + m_dir.Path("dict") +
                                 ":dict\nkey passdb {\n  key = pass/%u\n  format = json\n}\n"
                                 "passdb_objects = passdb\ndefault_pass_scheme = PLAIN\n");
    const std::string config =
        m_dir.Write("dovecot.conf", "base_dir = " + run + "\nlog_path = " + m_dir.Path("dovelog") +
                                        "\nssl = no\nprotocols =\nauth_failure_delay = 0 secs\n"
                                        "service anvil {\n  unix_listener anvil-auth-penalty {\n"
                                        "    mode = 0\n  }\n}\n"
                                        "passdb {\n  driver = dict\n  args = " +
                                        m_dir.Path("dict.conf") +
                                        "\n}\nuserdb {\n  driver = static\n"
                                        "  args = uid=65534 gid=65534 home=/tmp\n}\n");
    const RunningProgram server(
        UnpackedCommand("dovecot", m_dir, {"/usr/sbin/dovecot", "-F", "-c", config}));
    ASSERT_TRUE(
        WaitFor(seconds(60), [&] { return std::filesystem::exists(run + "/auth-client"); }));
    const auto log_in = [&](const std::string& user, const std::string& password) {
        const ProgramResult result = RunMailProgram(
            {"usr/bin/doveadm", "auth", "test", "-a", run + "/auth-client", user, password});
        return result.status == 0                                       ? "yes"
               : result.out.find("code=temp_fail") != std::string::npos ? "later"
               : result.out.find(" auth failed\n") != std::string::npos ? "no"
                                                                        : result.out + result.err;
    };
    EXPECT_EQ(log_in("jdoe@x.test", "secret"), "yes");
    EXPECT_EQ(log_in("JDoe@X.Test", "secret"), "yes");
    EXPECT_EQ(log_in("jdoe@x.test", "wrong"), "no");
    EXPECT_EQ(log_in("other@x.test", "secret"), "no");
    Load("dict", "pass/jdoe@x.test {\"password\":\"changed\"}\n");
    EXPECT_EQ(log_in("jdoe@x.test", "secret"), "no");
    EXPECT_EQ(log_in("jdoe@x.test", "changed"), "yes");
    m_daemon->Kill();
    EXPECT_EQ(log_in("jdoe@x.test", "changed"), "later");
    m_daemon->Start();
    EXPECT_EQ(log_in("jdoe@x.test", "changed"), "yes");
    // It asks twice, for 30 seconds each.
    m_daemon->Signal(SIGSTOP);
    const auto start = LongClock::now();
    EXPECT_EQ(log_in("jdoe@x.test", "changed"), "later");
    EXPECT_GT(LongClock::now() - start, seconds(50));
    EXPECT_LT(LongClock::now() - start, seconds(120));
    m_daemon->Signal(SIGCONT);
    EXPECT_EQ(log_in("jdoe@x.test", "changed"), "yes");
    EXPECT_EQ(log_in("jdoe@x.test", "secret"), "no");
}

TEST_F(MailClients, GiveUpWhileTheDaemonHangs) {
    const std::string exim =
        m_dir.Write("exim.conf", "keep_environment =\nspool_directory = " + m_dir.Path("") +
                                     "\nlog_file_path = " + m_dir.Path("%slog") + "\n");
    const std::string sendmail =
        WriteSendmailConfig(m_dir, "MAILER(local)dnl\nMAILER(smtp)dnl\nLOCAL_CONFIG\n"
                                   "Ksocketmap socket -T<TMPF> unix:" +
                                       m_dir.Path("socketmap") + "\n");
    struct Case {
        std::vector<std::string> command;
        std::string input;
        std::string answer; ///< part of what it prints
        int least, most;    ///< seconds that it waits
    };
    const Case cases[] = {
        {MailCommand({"usr/sbin/exim4", "-C", exim, "-be",
                      "${readsocket{" + m_dir.Path("socketmap") + "}{12:socketmap <>,}}"},
                     EximEnvironment(m_dir)),
         "", "Failed: ", 4, 25},
        {MailCommand({"usr/libexec/sendmail/sendmail", "-C", sendmail, "-bt"},
                     SendmailEnvironment(m_dir)),
         "/map socketmap found-1@example.test\n", "no match (75)", 25, 90},
        {MailCommand({"usr/bin/doveadm", "dict", "get", "-u", "bob",
                      "proxy:" + m_dir.Path("dict") + ":dict", "shared/found-1@example.test"}),
         "", "imeout", 25, 120}};
    m_daemon->Signal(SIGSTOP);
    std::vector<std::thread> askers;
    for (const Case& each : cases)
        askers.emplace_back([&each] {
            const auto start = LongClock::now();
            const ProgramResult result = RunProgram(each.command, each.input);
            const auto time = LongClock::now() - start;
            EXPECT_THAT(result.out + result.err, testing::HasSubstr(each.answer));
            EXPECT_GT(time, seconds(each.least)) << each.answer;
            EXPECT_LT(time, seconds(each.most)) << each.answer;
        });
    for (std::thread& asker : askers)
        asker.join();
    m_daemon->Signal(SIGCONT);
    EXPECT_EQ(Daemon::Ask("unix:" + m_dir.Path("socketmap"), "socketmap", "<>"), "OK null sender");
}

/// rspamd with a list that it polls.
class Rspamd : public RootMailClients {
protected:
    Rspamd() : m_door(UnusedPort()), m_port(UnusedPort()) {
        m_daemon->Stop();
        m_dir.Write("tcp.list",
                    "listed@bad.test\nall.test\ngr\xc3\xbcn@bad.test\nxn--grn-hoa.test\n");
        m_daemon = std::make_unique<Daemon>(
            m_dir, Config() + "[door http]\nProtocol = http\nAddress = 127.0.0.1:" +
                       std::to_string(m_door) + "\n");
        const std::string run = m_dir.Path("run");
        std::filesystem::create_directory(run);
        std::filesystem::permissions(run, std::filesystem::perms(0777));
        const std::string map =
            "map = \"http://127.0.0.1:" + std::to_string(m_door) + "/tcp/all\"; ";
        const std::string config = m_dir.Write(
            "rspamd.conf",
            "lua = \"/usr/share/rspamd/rules/rspamd.lua\";\n"
            "options { filters = \"\"; pidfile = \"" +
                run + "/pid\"; dbdir = \"" + run + "\"; tempdir = \"" + run + "\"; rundir = \"" +
                run + "\"; hs_cache_dir = \"" + run +
                "\"; map_watch_interval = 2s;\n"
                "  dns { nameserver = \"127.0.0.1\"; timeout = 0.1s; retransmits = 1; } }\n"
                "logging { type = \"file\"; filename = \"" +
                run +
                "/log\"; level = \"info\"; }\n"
                "worker \"normal\" { bind_socket = \"127.0.0.1:" +
                std::to_string(m_port) +
                "\"; count = 1; }\n"
                "modules { path = \"/usr/share/rspamd/plugins/multimap.lua\"; }\n"
                "metric { name = \"default\"; actions { reject = 15; } }\n"
                "multimap { KW_DOWN { type = \"from\"; map = \"http://127.0.0.1:" +
                std::to_string(m_door) +
                "/down/all\"; score = 5.0; }\n" // 503
                "  KW_RCPT { type = \"rcpt\"; filter = \"email:domain\"; " +
                map + "score = 2.0; }\n" + LinesOfThePage() + "\n");
        m_server = std::make_unique<RunningProgram>(UnpackedCommand(
            "rspamd", m_dir,
            {"/usr/bin/rspamd", "-f", "-u", "_rspamd", "-g", "_rspamd", "-c", config}));
    }

    /// The lines of docs/kwlookupd.md after "multimap {", with the door and the list of this test.
    std::string LinesOfThePage() const {
        std::ifstream in(SOURCE_DIR "/docs/kwlookupd.md");
        const std::string page{std::istreambuf_iterator<char>(in), {}};
        const std::string start = "\nmultimap {\n";
        const std::size_t begin = page.find(start) + start.size();
        std::string lines = page.substr(begin, page.find("\n```\n", begin) - begin);
        boost::replace_all(lines, ":8825/blocked/", ":" + std::to_string(m_door) + "/tcp/");
        return lines;
    }

    /// What rspamd says of a mail; empty while it does not answer.
    std::string Check(const std::string& sender, const std::string& recipient) const {
        const std::string mail = "Subject: x\r\n\r\nx\r\n";
        try {
            Client client("127.0.0.1:" + std::to_string(m_port));
            client.Send("POST /checkv2 HTTP/1.0\r\nFrom: " + sender + "\r\nRcpt: " + recipient +
                        "\r\nContent-Length: " + std::to_string(mail.size()) + "\r\n\r\n" + mail);
            return client.ReceiveAll();
        } catch (const std::runtime_error&) {
            return std::string();
        }
    }

    bool Knows(const std::string& symbol, const std::string& sender,
               const std::string& recipient) const {
        return Check(sender, recipient).find("\"" + symbol + "\"") != std::string::npos;
    }

    std::string Log() const {
        std::ifstream in(m_dir.Path("run/log"));
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    const int m_door;
    const int m_port;
    std::unique_ptr<RunningProgram> m_server;
};

TEST_F(Rspamd, PollsAWholeList) {
    constexpr seconds LIMIT(300); // it starts in 6 to 26 seconds, and has its lists after 33
    ASSERT_TRUE(
        WaitFor(LIMIT, [&] { return Knows("BLOCKED_SENDER", "listed@bad.test", "a@x.test"); }));
    EXPECT_TRUE(Knows("BLOCKED_SENDER", "LISTED@Bad.Test", "a@x.test"));
    EXPECT_TRUE(Knows("BLOCKED_SENDER", "anybody@all.test", "a@x.test"));
    EXPECT_FALSE(Knows("BLOCKED_SENDER", "other@bad.test", "a@x.test"));
    EXPECT_FALSE(Knows("KW_DOWN", "listed@bad.test", "a@x.test"));
    EXPECT_TRUE(WaitFor(LIMIT, [&] { return Knows("KW_RCPT", "a@x.test", "anybody@all.test"); }));
    EXPECT_FALSE(Knows("KW_RCPT", "a@x.test", "listed@bad.test"));

    // It refuses to read an address that is not ASCII, whatever the list has.
    const std::string unread = Check("gr\xc3\xbcn@bad.test", "a@x.test");
    EXPECT_THAT(unread, testing::HasSubstr("\"BROKEN_HEADERS\""));
    EXPECT_THAT(unread, testing::Not(testing::HasSubstr("BLOCKED_SENDER")));
    EXPECT_TRUE(Knows("BLOCKED_SENDER", "a@xn--grn-hoa.test", "a@x.test"));

    // It is told that the list is the same.
    EXPECT_TRUE(WaitFor(LIMIT, [&] { return Log().find("not modified") != std::string::npos; }))
        << Log();

    // It takes a new list.
    m_dir.Write("tcp.list", "other@bad.test\nall.test\n");
    ASSERT_EQ(m_daemon->Ctl({"reload", "tcp"}).status, 0);
    EXPECT_TRUE(
        WaitFor(LIMIT, [&] { return Knows("BLOCKED_SENDER", "other@bad.test", "a@x.test"); }));
    EXPECT_FALSE(Knows("BLOCKED_SENDER", "listed@bad.test", "a@x.test"));

    // It keeps the last list while the daemon is away.
    m_daemon->Kill();
    std::this_thread::sleep_for(seconds(10));
    EXPECT_TRUE(Knows("BLOCKED_SENDER", "other@bad.test", "a@x.test"));
    m_daemon->Start();
    EXPECT_TRUE(Knows("BLOCKED_SENDER", "other@bad.test", "a@x.test"));
}

/// A Postfix whose smtpd asks one door only.
class PostfixLimits : public RootMailClients {
protected:
    PostfixLimits() {
        for (const std::string list : {"socketmap", "tcp", "policy", "milter"}) {
            m_dir.Write(list + ".list", "listed@bad.test REJECT listed\n");
            EXPECT_EQ(m_daemon->Ctl({"reload", list}).status, 0);
        }
    }

    std::unique_ptr<Postfix> StartPostfix(const std::string& door) const {
        std::string more, maps;
        if (door != "policy")
            more += "smtpd_recipient_restrictions =\n";
        if (door != "milter")
            more += "smtpd_milters =\n";
        if (door == "socketmap" || door == "tcp")
            maps = "check_sender_access " + (door == "tcp" ? Tcp() : Socketmap(door));
        return std::make_unique<Postfix>(m_dir, maps, more);
    }

    /// The reply to MAIL, or else to RCPT.
    static std::string ReplyTo(SmtpSession& session, const std::string& sender) {
        const std::string reply = session.Mail(sender);
        return reply[0] == '2' ? session.Say("RCPT TO:<a@example.test>") : reply;
    }
};

TEST_F(PostfixLimits, WhileTheDaemonHangs) {
    struct Case {
        std::string door;
        int least; ///< seconds that smtpd waits
        int most;
    };
    // smtpd asks a policy service twice.
    const Case cases[] = {{"socketmap", 95, 150}, {"policy", 190, 290}, {"milter", 25, 80}};
    std::vector<std::unique_ptr<Postfix>> servers;
    std::vector<std::unique_ptr<SmtpSession>> sessions;
    for (const Case& each : cases) {
        servers.push_back(StartPostfix(each.door));
        sessions.push_back(servers.back()->Connect());
        EXPECT_THAT(ReplyTo(*sessions.back(), "none@bad.test"), StartsWith("250 "));
    }
    m_daemon->Signal(SIGSTOP);
    std::vector<std::thread> askers;
    for (std::size_t i = 0; i < servers.size(); ++i)
        askers.emplace_back([&, i] {
            const auto start = LongClock::now();
            EXPECT_THAT(ReplyTo(*sessions[i], "listed@bad.test"), StartsWith("451 "));
            const auto time = LongClock::now() - start;
            EXPECT_GT(time, seconds(cases[i].least)) << cases[i].door;
            EXPECT_LT(time, seconds(cases[i].most)) << cases[i].door;
        });
    for (std::thread& asker : askers)
        asker.join();
    m_daemon->Signal(SIGCONT);
    // A late answer is not taken for that to another question.
    for (std::size_t i = 0; i < servers.size(); ++i) {
        const auto session = servers[i]->Connect();
        EXPECT_THAT(ReplyTo(*session, "none@bad.test"), StartsWith("250 ")) << cases[i].door;
        EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("55")) << cases[i].door;
    }
}

TEST_F(PostfixLimits, WhileTheDaemonIsAway) {
    const auto server = StartPostfix("tcp");
    const auto session = server->Connect();
    EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("554 "));
    m_daemon->Kill();
    const auto start = LongClock::now();
    EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("451 "));
    EXPECT_GT(LongClock::now() - start, seconds(8)); // ten tries
    EXPECT_LT(LongClock::now() - start, seconds(60));
    // It comes back while smtpd tries again.
    std::thread asker(
        [&] { EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("554 ")); });
    std::this_thread::sleep_for(seconds(3));
    m_daemon->Start();
    asker.join();
    for (const std::string door : {"socketmap", "policy", "milter"}) {
        const auto other = StartPostfix(door);
        const auto before = other->Connect();
        EXPECT_THAT(ReplyTo(*before, "listed@bad.test"), StartsWith("55")) << door;
        m_daemon->Kill();
        EXPECT_THAT(ReplyTo(*before, "listed@bad.test"), StartsWith("451 ")) << door;
        m_daemon->Start();
        const auto after = other->Connect();
        EXPECT_THAT(ReplyTo(*after, "listed@bad.test"), StartsWith("55")) << door;
        EXPECT_THAT(ReplyTo(*after, "none@bad.test"), StartsWith("250 ")) << door;
    }
}

TEST_F(PostfixLimits, AfterItHasBeenIdle) {
    constexpr seconds IDLE(12); // it closes connections of socketmap after 10 seconds
    for (const std::string door : {"socketmap", "tcp", "policy", "milter"}) {
        const auto server = StartPostfix(door);
        const auto session = server->Connect();
        EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("55")) << door;
        std::this_thread::sleep_for(IDLE);
        EXPECT_THAT(ReplyTo(*session, "listed@bad.test"), StartsWith("55")) << door;
        EXPECT_THAT(ReplyTo(*session, "none@bad.test"), StartsWith("250 ")) << door;
    }
}

TEST_F(MailClients, ARequestThatTakesTooLongEndsItsConnection) {
    const std::string address = "unix:" + m_dir.Path("socketmap");
    Client idle(address), slow(address);
    const auto start = LongClock::now();
    slow.Send("500:socketmap ");
    while (slow.Send("x") && !slow.HasInput(1000) && LongClock::now() - start < seconds(200)) {
    }
    EXPECT_EQ(slow.ReceiveAll(), "");
    EXPECT_GT(LongClock::now() - start, seconds(95));
    EXPECT_LT(LongClock::now() - start, seconds(150));
    idle.Send("12:socketmap <>,");
    EXPECT_EQ(idle.Receive(18), "14:OK null sender,");
}

} // namespace
