// SPDX-License-Identifier: MIT
// Real mail servers and their tools ask the daemon.
#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"
#include "servers/ServerProgram.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using namespace kwlookup;

int UnusedPort() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("there is no port");
    return ntohs(address.sin_port);
}

/// Runs a program of the unpacked clients with its own libraries, as nobody when we are root.
ProgramResult RunClient(const std::vector<std::string>& arguments, const std::string& input = "",
                        const std::vector<std::string>& environment = {}) {
    const std::string lib = ServerFile("usr/lib/");
    std::vector<std::string> command = {"/usr/bin/env",
                                        "LD_LIBRARY_PATH=" + lib + SERVERS_ARCH + ":" + lib +
                                            "postfix:" + lib + "dovecot",
                                        "DOVECONF_ENV=1" /* doveadm reads no configuration */};
    command.insert(command.end(), environment.begin(), environment.end());
    command.push_back(ServerFile(arguments.front()));
    command.insert(command.end(), arguments.begin() + 1, arguments.end());
    return RunProgram(ServerCommand(command), input);
}

/// The daemon with a door for each protocol that mail servers speak. Each has a list of its own.
class MailClients : public testing::Test {
protected:
    static constexpr const char* LISTS[] = {"socketmap", "tcp", "policy", "milter", "dict"};

    MailClients() : m_tcp_port(UnusedPort()) {
        std::filesystem::permissions(m_dir.Path("."), std::filesystem::perms(0755));
        for (const std::string list : LISTS)
            m_dir.Write(list + ".list", "found-1@example.test value-of-found-1\n"
                                        "plain@example.test\n"
                                        "\"a,b\"@example.test quoted\n"
                                        "gr\xc3\xbcn@example.test gr\xc3\xbc\n"
                                        "<> null sender\n"
                                        "big@example.test " +
                                            std::string(99997, 'b') +
                                            "\n"
                                            "too-big@example.test " +
                                            std::string(99998, 'b') +
                                            "\n"
                                            "line@example.test " +
                                            std::string(4091, 'l') +
                                            "\n"
                                            "too-long@example.test " +
                                            std::string(4092, 'l') + "\n");
        m_daemon = std::make_unique<Daemon>(m_dir, Config());
    }

    std::string Config() const {
        std::string config;
        for (const std::string list : LISTS)
            config += "[list " + list + "]\nObjects = file:@/" + list + ".list\nMaxShrink = 100\n";
        config += "[list down]\nObjects = file:@/none\n";
        const auto add = [&](const std::string& protocol, const std::string& rest) {
            config += "[door " + protocol + "]\nProtocol = " + protocol + "\nAddress = unix:@/" +
                      protocol + "\nMode = 0666\n" + rest;
        };
        add("socketmap", "");
        add("policy", "Ask = sender:policy, recipient:policy\n");
        add("milter",
            "Ask = client_address:milter, helo_name:milter, sender:milter, recipient:milter\n");
        add("dict", "");
        return config +
               "[door tcp]\nProtocol = tcp\nAddress = 127.0.0.1:" + std::to_string(m_tcp_port) +
               "\nLists = tcp\n";
    }

    ProgramResult Postmap(const std::string& key, const std::string& table,
                          const std::string& input = "") const {
        m_dir.Write("main.cf", "compatibility_level = 3.6\nmail_owner = nobody\n"
                               "setgid_group = mail\ndefault_privs = daemon\n"
                               "queue_directory = " +
                                   m_dir.Path("") +
                                   "\nshlib_directory = " + ServerFile("usr/lib/postfix") + "\n");
        return RunClient({"usr/sbin/postmap", "-c", m_dir.Path(""), "-q", key, table}, input);
    }

    std::string Socketmap(const std::string& list) const {
        return "socketmap:unix:" + m_dir.Path("socketmap") + ":" + list;
    }

    std::string Tcp() const { return "tcp:127.0.0.1:" + std::to_string(m_tcp_port); }

    TempDir m_dir;
    const int m_tcp_port;
    std::unique_ptr<Daemon> m_daemon;
};

TEST_F(MailClients, PostmapAsksSocketmap) {
    std::string keys, answers;
    for (int i = 0; i < 1000; ++i) { // on one connection
        keys += "none-" + std::to_string(i) + "@example.test\nfound-1@example.test\n";
        answers += "found-1@example.test\tvalue-of-found-1\n";
    }
    keys += "plain@example.test\nFOUND-1@Example.Test\n\"a,b\"@example.test\n"
            "gr\xc3\xbcn@example.test\n<>\nbig@example.test\n";
    answers += "plain@example.test\tplain@example.test\nFOUND-1@Example.Test\tvalue-of-found-1\n"
               "\"a,b\"@example.test\tquoted\ngr\xc3\xbcn@example.test\tgr\xc3\xbc\n"
               "<>\tnull sender\nbig@example.test\t" +
               std::string(99997, 'b') + "\n";
    const ProgramResult found = Postmap("-", Socketmap("socketmap"), keys);
    EXPECT_EQ(found.out, answers);
    EXPECT_EQ(found.err, "");
    EXPECT_EQ(found.status, 0);
    const ProgramResult none = Postmap("none@example.test", Socketmap("socketmap"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out + none.err, "");
}

TEST_F(MailClients, PostmapIsToldOfFaults) {
    const ProgramResult down = Postmap("a@example.test", Socketmap("down"));
    EXPECT_EQ(down.status, 1);
    EXPECT_THAT(down.err, HasSubstr("socketmap server temporary error: "));
    const ProgramResult big = Postmap("too-big@example.test", Socketmap("socketmap"));
    EXPECT_EQ(big.status, 1);
    EXPECT_THAT(big.err, HasSubstr("socketmap server temporary error: "));
    EXPECT_THAT(m_daemon->GetLog(), HasSubstr("too-big@example.test"));
}

TEST_F(MailClients, PostmapAsksTcp) {
    const ProgramResult found = Postmap("-", Tcp(),
                                        "none\nfound-1@example.test\ngr\xc3\xbcn@example.test\n<>\n"
                                        "line@example.test\n");
    EXPECT_EQ(found.out, "found-1@example.test\tvalue-of-found-1\n"
                         "gr\xc3\xbcn@example.test\tgr\xc3\xbc\n<>\tnull sender\n"
                         "line@example.test\t" +
                             std::string(4091, 'l') + "\n");
    EXPECT_EQ(found.err, "");
    const ProgramResult too_long = Postmap("too-long@example.test", Tcp());
    EXPECT_EQ(too_long.status, 1);
    EXPECT_THAT(too_long.err, HasSubstr("query error"));
}

TEST_F(MailClients, EximReadsAnAnswerAndTheEnd) {
    const std::string config =
        m_dir.Write("exim.conf", "keep_environment =\nspool_directory = " + m_dir.Path("") +
                                     "\nlog_file_path = " + m_dir.Path("%slog") +
                                     "\nprimary_hostname = mx.example.test\n");
    // Exim insists on the user of its package.
    const std::string passwd = "root:x:0:0::/root:/bin/sh\nnobody:x:65534:65534::/:/bin/false\n"
                               "Debian-exim:x:990:990::/:/bin/false\n";
    const std::vector<std::string> user = {
        "LD_PRELOAD=" + ServerFile("usr/lib/" SERVERS_ARCH "/libnss_wrapper.so"),
        "NSS_WRAPPER_PASSWD=" + m_dir.Write("passwd", passwd),
        "NSS_WRAPPER_GROUP=" + m_dir.Write("group", "root:x:0:\nnogroup:x:65534:\n"
                                                    "Debian-exim:x:990:\n")};
    const auto ask = [&](const std::string& request) {
        const std::string length = std::to_string(request.size());
        return RunClient({"usr/sbin/exim4", "-C", config, "-be",
                          "${readsocket{" + m_dir.Path("socketmap") + "}{" + length + ":" +
                              request + ",}{5s}{}{SOCKFAIL}}"},
                         "", user)
            .out;
    };
    EXPECT_EQ(ask("socketmap found-1@example.test"), "19:OK value-of-found-1,\n");
    EXPECT_EQ(ask("socketmap none@example.test"), "9:NOTFOUND ,\n");
    EXPECT_EQ(ask("socketmap "), "14:OK null sender,\n");
    EXPECT_THAT(ask("down none@example.test"), testing::MatchesRegex("[0-9]+:TEMP .*,\n"));
    m_daemon->Kill();
    EXPECT_EQ(ask("socketmap found-1@example.test"), "SOCKFAIL\n");
    m_daemon->Start();
    EXPECT_EQ(ask("socketmap found-1@example.test"), "19:OK value-of-found-1,\n");
}

TEST_F(MailClients, SendmailAsksSocketmap) {
    m_dir.Write("t.mc", "OSTYPE(linux)dnl\ndefine(`confDOMAIN_NAME',`mx.example.test')dnl\n"
                        "define(`ALIAS_FILE',`')dnl\nFEATURE(`no_default_msa')dnl\n"
                        "MAILER(local)dnl\nMAILER(smtp)dnl\nLOCAL_CONFIG\n"
                        "Ksocketmap socket -a<FOUND> -T<TMPF> unix:" +
                            m_dir.Path("socketmap") +
                            "\nKdown socket -T<TMPF> unix:" + m_dir.Path("socketmap") + "\n");
    const std::string macros = ServerFile("usr/share/sendmail/cf/");
    const ProgramResult made =
        RunClient({"usr/bin/m4", "-D_CF_DIR_=" + macros, macros + "m4/cf.m4", m_dir.Path("t.mc")});
    ASSERT_EQ(made.status, 0) << made.err;
    // Sendmail sleeps for a minute on a machine without a full name.
    const std::vector<std::string> host = {
        "LD_PRELOAD=" + ServerFile("usr/lib/" SERVERS_ARCH "/libnss_wrapper.so"),
        "NSS_WRAPPER_HOSTNAME=mx.example.test",
        "NSS_WRAPPER_HOSTS=" + m_dir.Write("hosts", "127.0.0.1 mx.example.test mx\n")};
    const ProgramResult result =
        RunClient({"usr/libexec/sendmail/sendmail", "-C", m_dir.Write("t.cf", made.out), "-bt"},
                  "/map socketmap found-1@example.test\n/map socketmap none@example.test\n"
                  "/map down none@example.test\n/map socketmap plain@example.test\n",
                  host);
    EXPECT_THAT(result.out, HasSubstr("returns value-of-found-1<FOUND> (0)"));
    EXPECT_THAT(result.out, HasSubstr("no match (68)"));
    EXPECT_THAT(result.out, HasSubstr("no match (75)"));
    EXPECT_THAT(result.out, HasSubstr("returns plain@example.test<FOUND> (0)"));
    EXPECT_EQ(result.status, 0);
}

TEST_F(MailClients, DoveadmAsksDict) {
    const auto doveadm = [&](const std::string& command, const std::string& list,
                             const std::string& key, const std::string& value = "") {
        std::vector<std::string> arguments = {"usr/bin/doveadm",
                                              "dict",
                                              command,
                                              "-u",
                                              "bob",
                                              "proxy:" + m_dir.Path("dict") + ":" + list,
                                              key};
        if (!value.empty())
            arguments.push_back(value);
        return RunClient(arguments);
    };
    const ProgramResult found = doveadm("get", "dict", "shared/found-1@example.test");
    EXPECT_EQ(found.status, 0);
    EXPECT_THAT(found.out, HasSubstr("value-of-found-1"));
    EXPECT_THAT(doveadm("get", "dict", "shared/gr\xc3\xbcn@example.test").out,
                HasSubstr("gr\xc3\xbc"));
    EXPECT_THAT(doveadm("get", "dict", "priv/too-big@example.test").out,
                HasSubstr(std::string(99998, 'b')));
    EXPECT_EQ(doveadm("get", "dict", "shared/none@example.test").status, 68);
    EXPECT_EQ(doveadm("get", "down", "shared/none@example.test").status, 75);
    EXPECT_EQ(doveadm("get", "other", "shared/none@example.test").status, 75);
    const ProgramResult iterated = doveadm("iter", "dict", "shared/");
    EXPECT_EQ(iterated.status, 75);
    EXPECT_THAT(iterated.err, HasSubstr("this dictionary cannot be iterated"));
    const ProgramResult set = doveadm("set", "dict", "shared/found-1@example.test", "x");
    EXPECT_EQ(set.status, 75);
    EXPECT_THAT(set.err, HasSubstr("this dictionary is read-only"));
    m_daemon->Kill();
    EXPECT_EQ(doveadm("get", "dict", "shared/found-1@example.test").status, 75);
}

const char ACTIONS[] = "reject@example.test REJECT 5.7.1 50% listed\n"
                       "hold@example.test HOLD for review\n"
                       "header@example.test PREPEND X-Listed: yes\n"
                       "discard@example.test DISCARD\n"
                       "ok@example.test OK\n"
                       "misspelt@example.test REJCT\n"
                       "plain@example.test\n"
                       "<> 550 no bounces\n";

TEST_F(MailClients, MiltertestAsksMilter) {
    m_dir.Write("milter.list", ACTIONS);
    ASSERT_EQ(m_daemon->Ctl({"reload", "milter"}).status, 0);
    const std::string script = m_dir.Write("script.lua", R"(
        function session()
            local conn = mt.connect("unix:SOCKET", 40, 0.05)
            if conn == nil then error("no connection") end
            mt.conninfo(conn, "client.test", "192.0.2.7")
            mt.helo(conn, "helo.test")
            return conn
        end
        function check(conn, expected, what)
            if mt.getreply(conn) ~= expected then
                error(what .. ": " .. string.char(mt.getreply(conn)))
            end
        end
        function sender(address, expected)
            local conn = session()
            mt.mailfrom(conn, address)
            check(conn, expected, address)
            mt.disconnect(conn)
        end
        sender("<reject@example.test>", SMFIR_REPLYCODE)
        sender("<REJECT@Example.Test>", SMFIR_REPLYCODE)
        sender("<>", SMFIR_REPLYCODE)
        sender("<plain@example.test>", SMFIR_REPLYCODE)
        sender("<misspelt@example.test>", SMFIR_REPLYCODE)
        sender("<none@example.test>", SMFIR_CONTINUE)
        sender("<ok@example.test>", SMFIR_ACCEPT)
        sender("<discard@example.test>", SMFIR_DISCARD)
        conn = session()
        mt.mailfrom(conn, "<hold@example.test>")
        mt.rcptto(conn, "<header@example.test>")
        check(conn, SMFIR_CONTINUE, "header")
        mt.rcptto(conn, "<reject@example.test>")
        check(conn, SMFIR_REPLYCODE, "recipient")
        mt.eom(conn)
        check(conn, SMFIR_CONTINUE, "end")
        if not mt.eom_check(conn, MT_QUARANTINE, "for review") then error("no quarantine") end
        if not mt.eom_check(conn, MT_HDRADD, "X-Listed", "yes") then error("no header") end
        mt.disconnect(conn)
    )");
    const std::string command = "sed -i s,SOCKET," + m_dir.Path("milter") + ", " + script;
    ASSERT_EQ(RunProgram({"/bin/sh", "-c", command}).status, 0);
    const ProgramResult result = RunClient({"usr/bin/miltertest", "-s", script});
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(result.status, 0);
}

/// A Postfix whose smtpd asks each door. Its other programs are not needed.
class Postfix {
public:
    /// `doors` has the sockets of the daemon.
    Postfix(const TempDir& doors, const std::string& sender_maps) : m_port(UnusedPort()) {
        const TempDir& dir = m_dir;
        std::filesystem::permissions(dir.Path("."), std::filesystem::perms(0755));
        const std::string lib = ServerFile("usr/lib/postfix");
        const std::string libraries =
            "LD_LIBRARY_PATH=" + ServerFile("usr/lib/" SERVERS_ARCH) + ":" + lib;
        const std::string queue = dir.Path("queue");
        std::filesystem::create_directories(dir.Path("postfix"));
        for (const std::string name :
             {"active", "bounce", "corrupt", "defer", "deferred", "flush", "hold", "incoming",
              "maildrop", "pid", "private", "public", "saved", "trace", "data"}) {
            std::filesystem::create_directories(queue + "/" + name);
            if (name != "pid")
                GiveToServer(queue + "/" + name);
        }
        dir.Write("postfix/main.cf",
                  "compatibility_level = 3.6\nmyhostname = mx.example.test\n"
                  "mail_owner = nobody\nsetgid_group = mail\ndefault_privs = daemon\n"
                  "queue_directory = " +
                      queue + "\ndata_directory = " + queue +
                      "/data\n"
                      "daemon_directory = " +
                      lib + "/sbin\nshlib_directory = " + lib +
                      "\n"
                      "command_directory = " +
                      ServerFile("usr/sbin") +
                      "\n"
                      "meta_directory = " +
                      ServerFile("etc/postfix") +
                      "\n"
                      "import_environment = MAIL_CONFIG LANG=C " +
                      libraries +
                      "\n"
                      "maillog_file = " +
                      dir.Path("maillog") + "\nmaillog_file_prefixes = " + dir.Path("") +
                      "\n"
                      "mydestination = example.test\nmynetworks = 127.0.0.2/32\n"
                      "inet_interfaces = loopback-only\ninet_protocols = ipv4\nalias_maps =\n"
                      "local_recipient_maps =\nnotify_classes =\nsmtpd_peername_lookup = no\n"
                      "smtpd_delay_reject = no\nsmtpd_sender_restrictions = " +
                      sender_maps +
                      "\n"
                      "smtpd_relay_restrictions = permit_mynetworks, reject_unauth_destination\n"
                      "smtpd_recipient_restrictions = check_policy_service unix:" +
                      doors.Path("policy") + "\nsmtpd_milters = unix:" + doors.Path("milter") +
                      "\n"
                      "milter_default_action = tempfail\n");
        dir.Write("postfix/master.cf",
                  "127.0.0.1:" + std::to_string(m_port) +
                      " inet n - n - - smtpd\n"
                      "cleanup unix n - n - 0 cleanup\nrewrite unix - - n - - trivial-rewrite\n"
                      "anvil unix - - n - 1 anvil\npostlog unix-dgram n - n - 1 postlogd\n");
        m_master = std::make_unique<RunningProgram>(std::vector<std::string>{
            "/usr/bin/env", "-i", "PATH=/usr/bin:/bin", libraries, "setpriv", "--pdeathsig=TERM",
            lib + "/sbin/master", "-c", dir.Path("postfix"), "-d"});
    }

    /// A new SMTP session after HELO.
    std::unique_ptr<Client> Connect() const {
        constexpr std::chrono::seconds LIMIT(60);
        const auto end = std::chrono::steady_clock::now() + LIMIT;
        for (;;) {
            try {
                auto client = std::make_unique<Client>("127.0.0.1:" + std::to_string(m_port));
                if (Reply(*client).compare(0, 3, "220") == 0) {
                    Say(*client, "HELO client.test");
                    return client;
                }
            } catch (const std::runtime_error&) {
                if (std::chrono::steady_clock::now() > end)
                    throw std::runtime_error("Postfix does not start: " + GetLog());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    static std::string Say(Client& client, const std::string& command) {
        client.Send(command + "\r\n");
        return Reply(client);
    }

    std::string GetLog() const {
        std::ostringstream text;
        text << std::ifstream(m_dir.Path("maillog")).rdbuf();
        return text.str();
    }

private:
    static std::string Reply(Client& client) {
        std::string line;
        for (std::string byte = client.Receive(1); !byte.empty() && byte != "\n";
             byte = client.Receive(1))
            line += byte;
        return line;
    }

    const TempDir m_dir;
    const int m_port;
    std::unique_ptr<RunningProgram> m_master;
};

TEST_F(MailClients, PostfixAsksAllDoors) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    for (const std::string list : {"socketmap", "tcp", "policy", "milter"}) {
        m_dir.Write(list + ".list", list + "@bad.test REJECT 5.7.1 50% by " + list + "\n" + list +
                                        "@example.test REJECT by " + list + "\n");
        ASSERT_EQ(m_daemon->Ctl({"reload", list}).status, 0);
    }
    const Postfix postfix(m_dir, "check_sender_access " + Socketmap("socketmap") +
                                     ", check_sender_access " + Tcp());
    std::unique_ptr<Client> client = postfix.Connect();
    const auto say = [&](const std::string& command) { return Postfix::Say(*client, command); };
    const auto sender = [&](const std::string& address) {
        const std::string reply = say("MAIL FROM:<" + address + ">");
        say("RSET");
        return reply;
    };
    EXPECT_EQ(sender("Socketmap@Bad.Test"),
              "554 5.7.1 <Socketmap@Bad.Test>: Sender address rejected: 50% by socketmap\r");
    EXPECT_EQ(sender("tcp@bad.test"),
              "554 5.7.1 <tcp@bad.test>: Sender address rejected: 50% by tcp\r");
    EXPECT_EQ(sender("Milter@bad.test"), "550 5.7.1 50% by milter\r") << postfix.GetLog();
    EXPECT_EQ(sender("good@x.test"), "250 2.1.0 Ok\r");
    EXPECT_EQ(sender(""), "250 2.1.0 Ok\r");
    EXPECT_EQ(say("MAIL FROM:<policy@bad.test>"), "250 2.1.0 Ok\r");
    EXPECT_EQ(say("RCPT TO:<a@example.test>"),
              "554 5.7.1 <a@example.test>: Recipient address rejected: 50% by policy\r");
    say("RSET");
    EXPECT_EQ(say("MAIL FROM:<good@x.test>"), "250 2.1.0 Ok\r");
    EXPECT_THAT(say("RCPT TO:<Policy@Example.Test>"), HasSubstr("rejected: by policy"));
    EXPECT_EQ(say("RCPT TO:<milter@example.test>"), "550 5.7.1 by milter\r");
    EXPECT_EQ(say("RCPT TO:<\"a b\"@example.test>"), "250 2.1.5 Ok\r");

    // A reload in the middle of the session.
    say("RSET");
    m_dir.Write("socketmap.list", "good@x.test REJECT now\n");
    ASSERT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    EXPECT_THAT(sender("good@x.test"), HasSubstr("rejected: now"));
    EXPECT_EQ(sender("socketmap@bad.test"), "250 2.1.0 Ok\r");

    // No mail is refused for good while the daemon is away.
    m_daemon->Kill();
    EXPECT_THAT(sender("good@x.test"), StartsWith("451 4.3.5 "));
    m_daemon->Start();
    client = postfix.Connect();
    EXPECT_THAT(sender("good@x.test"), HasSubstr("rejected: now"));
    EXPECT_EQ(sender("milter@bad.test"), "550 5.7.1 50% by milter\r");
}

TEST_F(MailClients, PostfixDefersWhatCannotBeAsked) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    m_daemon->Stop();
    const auto refusal = [&](const std::string& rule) {
        std::string config = Config();
        config.replace(config.find(rule), rule.size(), "sender:down");
        const Daemon down(m_dir, config);
        const Postfix postfix(m_dir, "");
        const std::unique_ptr<Client> client = postfix.Connect();
        const std::string reply = Postfix::Say(*client, "MAIL FROM:<a@x.test>");
        return reply[0] == '2' ? Postfix::Say(*client, "RCPT TO:<a@example.test>") : reply;
    };
    EXPECT_EQ(refusal("sender:milter"), "451 4.3.0 Cannot look this up now, try again later\r");
    EXPECT_EQ(refusal("sender:policy"),
              "450 4.3.0 <a@example.test>: Recipient address rejected: cannot look this up now, "
              "try again later\r");
}

} // namespace
