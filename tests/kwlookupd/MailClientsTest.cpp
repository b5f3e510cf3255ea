// SPDX-License-Identifier: MIT
// Real mail servers and their tools ask the daemon.
#include "kwlookupd/MailClients.h"
#include "kwlookupd/Postfix.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>
#include <unistd.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

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
    for (const std::string& key : {LongKey(100000), LongKey(131072 - 10)}) {
        keys += key + '\n';
        answers += key + "\tlong\n";
    }
    const ProgramResult found = Postmap("-", Socketmap("socketmap"), keys);
    EXPECT_EQ(found.out, answers);
    EXPECT_EQ(found.err, "");
    EXPECT_EQ(found.status, 0);
    const ProgramResult none = Postmap("none@example.test", Socketmap("socketmap"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out + none.err, "");
}

TEST_F(MailClients, ADaemonNeedsNoRoot) {
    m_daemon->Stop();
    const TempDir dir;
    kwlookup::GiveToServer(dir.Path("."));
    const std::string config = dir.Write(
        "kwlookupd.conf", "[kwlookupd]\nControl = " + dir.Path("control") +
                              "\n[list blocked]\nObjects = bulk.example REJECT\n[door maps]\n"
                              "Protocol = socketmap\nAddress = unix:" +
                              dir.Path("maps") + "\n");
    const RunningProgram daemon(kwlookup::ServerCommand({KWLOOKUPD, "--config", config}));
    const std::vector<std::string> status =
        kwlookup::ServerCommand({KWLOOKUPD, "--config", config, "ctl", "status"});
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (RunProgram(status).status != 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(Daemon::Ask("unix:" + dir.Path("maps"), "blocked", "a@bulk.example"), "OK REJECT");
}

TEST_F(MailClients, PostmapIsToldOfFaults) {
    const ProgramResult down = Postmap("a@example.test", Socketmap("down"));
    EXPECT_EQ(down.status, 1);
    EXPECT_THAT(down.err, HasSubstr("socketmap server temporary error: "));
    const ProgramResult big = Postmap("too-big@example.test", Socketmap("socketmap"));
    EXPECT_EQ(big.status, 1);
    EXPECT_THAT(big.err, HasSubstr("socketmap server temporary error: "));
    EXPECT_THAT(m_daemon->GetLog(), HasSubstr("too-big@example.test"));
    const ProgramResult longest = Postmap("-", Socketmap("socketmap"), LongKey(131072 - 9) + '\n');
    EXPECT_EQ(longest.status, 1);
    EXPECT_EQ(longest.out, "");
    EXPECT_THAT(longest.err, HasSubstr("socketmap server permanent error: "));
}

TEST_F(MailClients, PostmapAsksTcp) {
    const std::string key = LongKey(4091);
    const ProgramResult found = Postmap("-", Tcp(),
                                        "none\nfound-1@example.test\ngr\xc3\xbcn@example.test\n<>\n"
                                        "\"a,b\"@example.test\nline@example.test\n" +
                                            key + '\n');
    EXPECT_EQ(found.out, "found-1@example.test\tvalue-of-found-1\n"
                         "gr\xc3\xbcn@example.test\tgr\xc3\xbc\n<>\tnull sender\n"
                         "\"a,b\"@example.test\tquoted\nline@example.test\t" +
                             std::string(4091, 'l') + '\n' + key + "\tlong\n");
    EXPECT_EQ(found.err, "");
    const ProgramResult too_long = Postmap("too-long@example.test", Tcp());
    EXPECT_EQ(too_long.status, 1);
    EXPECT_THAT(too_long.err, HasSubstr("query error"));
    const ProgramResult down = Postmap("found-1@example.test", TcpDown());
    EXPECT_EQ(down.status, 1);
    EXPECT_THAT(down.err, HasSubstr("query error"));
}

TEST_F(MailClients, PostmapGoesOnWithAnotherListAndAnotherDaemon) {
    WritePostmapConfig();
    const std::string key = "key@example.test";
    // Each line fills a buffer of postmap, so that the next one pushes it out.
    const std::string values[] = {std::string(4091, '1'), std::string(4091, '2')};
    for (const std::string list : {"socketmap", "tcp"}) {
        SCOPED_TRACE(list);
        Load(list, key + ' ' + values[0] + '\n');
        std::vector<std::string> command =
            MailCommand({"usr/sbin/postmap", "-c", m_dir.Path(""), "-q", "-",
                         list == "tcp" ? Tcp() : Socketmap(list)});
        command.insert(command.begin(), {"/usr/bin/env", "--ignore-signal=PIPE"}); // as in smtpd
        RunningProgram postmap(command);
        const auto ask_twice = [&] { postmap.Write(key + '\n' + key + '\n'); };
        const auto expect = [&](const std::string& value) {
            EXPECT_EQ(postmap.ReadLine(), key + '\t' + value);
        };
        ask_twice();
        expect(values[0]);
        Load(list, key + ' ' + values[1] + '\n');
        ask_twice();
        expect(values[0]);
        expect(values[1]);
        m_daemon->Kill();
        m_daemon->Start();
        ask_twice();
        expect(values[1]);
        expect(values[1]);
        const ProgramResult result = postmap.Finish();
        EXPECT_EQ(result.out, key + '\t' + values[1] + '\n');
        EXPECT_THAT(result.err, testing::Not(HasSubstr("error")));
        EXPECT_EQ(result.status, 0);
    }
    m_daemon->Kill();
    EXPECT_THAT(Postmap(key, Socketmap("socketmap")).err, HasSubstr("error"));
}

TEST_F(MailClients, EximReadsAnAnswerAndTheEnd) {
    const std::string config =
        m_dir.Write("exim.conf", "keep_environment =\nspool_directory = " + m_dir.Path("") +
                                     "\nlog_file_path = " + m_dir.Path("%slog") +
                                     "\nprimary_hostname = mx.example.test\n");
    const std::vector<std::string> user = EximEnvironment(m_dir);
    const auto ask = [&](const std::string& request) {
        const std::string length = std::to_string(request.size());
        return RunMailProgram({"usr/sbin/exim4", "-C", config, "-be",
                               "${readsocket{" + m_dir.Path("socketmap") + "}{" + length + ":" +
                                   request + ",}{5s}{}{SOCKFAIL}}"},
                              "", user)
            .out;
    };
    EXPECT_EQ(ask("socketmap found-1@example.test"), "19:OK value-of-found-1,\n");
    EXPECT_EQ(ask("socketmap none@example.test"), "9:NOTFOUND ,\n");
    EXPECT_EQ(ask("socketmap "), "14:OK null sender,\n");
    EXPECT_EQ(ask("socketmap gr\xc3\xbcn@example.test"), "7:OK gr\xc3\xbc,\n");
    EXPECT_EQ(ask("socketmap \"a,b\"@example.test"), "9:OK quoted,\n");
    EXPECT_EQ(ask("socketmap big@example.test"), "100000:OK " + std::string(99997, 'b') + ",\n");
    EXPECT_THAT(ask("socketmap too-big@example.test"), testing::MatchesRegex("[0-9]+:TEMP .*,\n"));
    EXPECT_THAT(ask("down none@example.test"), testing::MatchesRegex("[0-9]+:TEMP .*,\n"));
    m_daemon->Kill();
    EXPECT_EQ(ask("socketmap found-1@example.test"), "SOCKFAIL\n");
    m_daemon->Start();
    EXPECT_EQ(ask("socketmap found-1@example.test"), "19:OK value-of-found-1,\n");
}

TEST_F(MailClients, SendmailAsksSocketmap) {
    const std::string config =
        WriteSendmailConfig(m_dir, "MAILER(local)dnl\nMAILER(smtp)dnl\nLOCAL_CONFIG\n"
                                   "Ksocketmap socket -a<FOUND> -T<TMPF> unix:" +
                                       m_dir.Path("socketmap") + "\nKdown socket -T<TMPF> unix:" +
                                       m_dir.Path("socketmap") + "\n");
    const ProgramResult result =
        RunMailProgram({"usr/libexec/sendmail/sendmail", "-C", config, "-bt"},
                       "/map socketmap found-1@example.test\n/map socketmap none@example.test\n"
                       "/map down none@example.test\n/map socketmap plain@example.test\n"
                       "/map socketmap big@example.test\n/map socketmap too-big@example.test\n",
                       SendmailEnvironment(m_dir));
    EXPECT_THAT(result.out, HasSubstr("returns value-of-found-1<FOUND> (0)"));
    EXPECT_THAT(result.out, HasSubstr("socketmap (none@example.test) no match (68)"));
    EXPECT_THAT(result.out, HasSubstr("down (none@example.test) no match (75)"));
    EXPECT_THAT(result.out, HasSubstr("returns plain@example.test<FOUND> (0)"));
    EXPECT_THAT(result.out, HasSubstr(" returns " + std::string(99997, 'b') + "<FOUND> (0)"));
    EXPECT_THAT(result.out, HasSubstr("(too-big@example.test) no match (75)"));
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
        return RunMailProgram(arguments);
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
    m_daemon->Start();
    EXPECT_EQ(doveadm("get", "dict", "shared/found-1@example.test").status, 0);
    EXPECT_THAT(doveadm("get", "dict", "shared/").out, HasSubstr("null sender"));
    EXPECT_THAT(doveadm("get", "dict", "shared/<>").out, HasSubstr("null sender"));
    EXPECT_THAT(doveadm("get", "dict", "shared/\"a,b\"@example.test").out, HasSubstr("quoted"));
    // "L", the key, a tab, the user and a line feed.
    const std::size_t rest = std::string("Lshared/\tbob\n").size();
    EXPECT_THAT(doveadm("get", "dict", "shared/" + LongKey(65536 - rest)).out, HasSubstr("long"));
    EXPECT_EQ(doveadm("get", "dict", "shared/" + LongKey(65536 - rest + 1)).status, 75);
    Load("dict", "none@example.test now\n");
    EXPECT_THAT(doveadm("get", "dict", "shared/none@example.test").out, HasSubstr("now"));
    EXPECT_EQ(doveadm("get", "dict", "shared/found-1@example.test").status, 68);
}

const char NOBODY[] = "unused.test OK\n";

const char ACTIONS[] = "reject@example.test REJECT 5.7.1 50% listed\n"
                       "hold@example.test HOLD for review\n"
                       "header@example.test PREPEND X-Listed: yes\n"
                       "discard@example.test DISCARD\n"
                       "ok@example.test OK\n"
                       "misspelt@example.test REJCT\n"
                       "plain@example.test\n"
                       "\"a,b\"@example.test\n"
                       "gr\xc3\xbcn@example.test\n"
                       "long.test\n"
                       "192.0.2.9 REJECT client\n"
                       "bad-helo.test REJECT helo\n"
                       "<> 550 no bounces\n";

TEST_F(MailClients, MiltertestAsksMilter) {
    Load("milter", ACTIONS);
    const std::string functions = "address = 'unix:" + m_dir.Path("milter") + "'" + R"(
        function session()
            local conn = mt.connect(address, 40, 0.05)
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
    )";
    const auto run = [&](const std::string& script) {
        return RunMailProgram(
            {"usr/bin/miltertest", "-s", m_dir.Write("script.lua", functions + script)});
    };
    const ProgramResult result = run(R"(
        sender("<reject@example.test>", SMFIR_REPLYCODE)
        sender("<REJECT@Example.Test>", SMFIR_REPLYCODE)
        sender("<>", SMFIR_REPLYCODE)
        sender("<plain@example.test>", SMFIR_REPLYCODE)
        sender("<misspelt@example.test>", SMFIR_REPLYCODE)
        sender("<none@example.test>", SMFIR_CONTINUE)
        sender("<ok@example.test>", SMFIR_ACCEPT)
        sender("<discard@example.test>", SMFIR_DISCARD)
        sender('<"a,b"@example.test>', SMFIR_REPLYCODE)
        sender("<gr\xc3\xbcn@example.test>", SMFIR_REPLYCODE)
        sender("<gr\xc3\xbcm@example.test>", SMFIR_CONTINUE)
        sender("<" .. string.rep("x", 240) .. "@long.test>", SMFIR_REPLYCODE)
        conn = mt.connect(address, 40, 0.05)
        mt.conninfo(conn, "client.test", "192.0.2.9")
        check(conn, SMFIR_REPLYCODE, "client")
        mt.disconnect(conn)
        conn = session()
        mt.helo(conn, "Bad-Helo.Test")
        check(conn, SMFIR_REPLYCODE, "helo")
        mt.disconnect(conn)
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
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(result.status, 0);

    Load("milter", "none@example.test\n");
    EXPECT_EQ(run(R"(sender("<none@example.test>", SMFIR_REPLYCODE)
                     sender("<reject@example.test>", SMFIR_CONTINUE))")
                  .status,
              0);
    m_daemon->Kill();
    EXPECT_NE(run("session()").status, 0);
    m_daemon->Start();
    EXPECT_EQ(run(R"(sender("<none@example.test>", SMFIR_REPLYCODE))").status, 0);
    // The list cannot be asked.
    std::filesystem::remove(m_dir.Path("milter.list"));
    m_daemon->Kill();
    m_daemon->Start();
    EXPECT_EQ(run(R"(conn = mt.connect(address, 40, 0.05)
                     mt.conninfo(conn, "client.test", "192.0.2.7")
                     check(conn, SMFIR_REPLYCODE, "client"))")
                  .status,
              0);
}

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
    std::unique_ptr<SmtpSession> client = postfix.Connect();
    const auto say = [&](const std::string& command) { return client->Say(command); };
    const auto sender = [&](const std::string& address) {
        const std::string reply = say("MAIL FROM:<" + address + ">");
        say("RSET");
        return reply;
    };
    EXPECT_EQ(sender("Socketmap@Bad.Test"),
              "554 5.7.1 <Socketmap@Bad.Test>: Sender address rejected: 50% by socketmap");
    EXPECT_EQ(sender("tcp@bad.test"),
              "554 5.7.1 <tcp@bad.test>: Sender address rejected: 50% by tcp");
    EXPECT_EQ(sender("Milter@bad.test"), "550 5.7.1 50% by milter") << postfix.GetLog();
    EXPECT_EQ(sender("good@x.test"), "250 2.1.0 Ok");
    EXPECT_EQ(sender(""), "250 2.1.0 Ok");
    EXPECT_EQ(say("MAIL FROM:<policy@bad.test>"), "250 2.1.0 Ok");
    EXPECT_EQ(say("RCPT TO:<a@example.test>"),
              "554 5.7.1 <a@example.test>: Recipient address rejected: 50% by policy");
    say("RSET");
    EXPECT_EQ(say("MAIL FROM:<good@x.test>"), "250 2.1.0 Ok");
    EXPECT_THAT(say("RCPT TO:<Policy@Example.Test>"), HasSubstr("rejected: by policy"));
    EXPECT_EQ(say("RCPT TO:<milter@example.test>"), "550 5.7.1 by milter");
    EXPECT_EQ(say("RCPT TO:<\"a b\"@example.test>"), "250 2.1.5 Ok");

    // A reload in the middle of the session.
    say("RSET");
    m_dir.Write("socketmap.list", "good@x.test REJECT now\n");
    ASSERT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    EXPECT_THAT(sender("good@x.test"), HasSubstr("rejected: now"));
    EXPECT_EQ(sender("socketmap@bad.test"), "250 2.1.0 Ok");

    // No mail is refused for good while the daemon is away.
    m_daemon->Kill();
    EXPECT_THAT(sender("good@x.test"), StartsWith("451 4.3.5 "));
    m_daemon->Start();
    client = postfix.Connect();
    EXPECT_THAT(sender("good@x.test"), HasSubstr("rejected: now"));
    EXPECT_EQ(sender("milter@bad.test"), "550 5.7.1 50% by milter");
}

TEST_F(MailClients, PostfixAsksEachDoorAboutUnusualSenders) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    const std::string lists[] = {"socketmap", "tcp", "policy", "milter"};
    for (const std::string& list : lists)
        Load(list, NOBODY);
    const Postfix postfix(m_dir, "check_sender_access " + Socketmap("socketmap") +
                                     ", check_sender_access " + Tcp());
    std::unique_ptr<SmtpSession> client = postfix.Connect();
    const auto refusal = [&](const std::string& sender) {
        const std::string reply = client->Mail(sender);
        return reply[0] == '2' ? client->Say("RCPT TO:<a@example.test>") : reply;
    };
    const std::string senders[] = {"", "\"a,b\"@bad.test", "\"c d\"@bad.test",
                                   "gr\xc3\xbcn@bad.test", "\"x y\"@all.test"};
    for (const std::string& sender : senders)
        EXPECT_EQ(refusal(sender), "250 2.1.5 Ok") << sender;
    for (const std::string& list : lists) {
        SCOPED_TRACE(list);
        client = postfix.Connect(); // smtpd is slow to answer after some errors
        EXPECT_EQ(refusal(""), "250 2.1.5 Ok");
        Load(list, "<> REJECT null sender by " + list + "\n\"a,b\"@bad.test REJECT quoted by " +
                       list + "\ngr\xc3\xbcn@bad.test REJECT eight bits by " + list +
                       "\nall.test REJECT domain by " + list + "\n");
        const char* const answers[] = {"null sender by ", "quoted by ", "", "eight bits by ",
                                       "domain by "};
        for (std::size_t i = 0; i < std::size(senders); ++i) {
            const std::string reply = refusal(senders[i]);
            if (*answers[i] == '\0') {
                EXPECT_EQ(reply, "250 2.1.5 Ok") << senders[i];
            } else {
                EXPECT_THAT(reply,
                            testing::AllOf(StartsWith("55"), testing::EndsWith(answers[i] + list)))
                    << senders[i];
            }
        }
        Load(list, NOBODY);
        for (const std::string& sender : senders)
            EXPECT_EQ(refusal(sender), "250 2.1.5 Ok") << sender;
    }
    // Recipients are quoted, too.
    for (const std::string list : {"policy", "milter"}) {
        Load(list, "\"a,b\"@example.test REJECT recipient by " + list + "\n");
        client->Mail("good@x.test");
        EXPECT_THAT(client->Say("RCPT TO:<\"a,b\"@example.test>"),
                    HasSubstr("recipient by " + list));
        Load(list, NOBODY);
    }
}

TEST_F(MailClients, PostfixAsksWhoHasLoggedIn) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    m_daemon->Stop();
    std::string config = Config();
    const std::string policy = "Ask = sender:policy, recipient:policy\n",
                      milter = "Ask = client_address:milter, helo_name:milter, sender:milter, "
                               "recipient:milter\n";
    config.replace(config.find(policy), policy.size(),
                   "Ask = sasl_username:policy, sender:socketmap\n");
    config.replace(config.find(milter), milter.size(), "Ask = sasl_username:milter\n");
    const Daemon daemon(m_dir, config);
    m_dir.Write("policy.list", "mallory REJECT user by policy\nalice@corp.lan OK\n"
                               "gr\xc3\xbcn REJECT eight bits\n");
    m_dir.Write("milter.list", "trudy REJECT user by milter\n");
    m_dir.Write("socketmap.list", "listed@bad.test REJECT sender by policy\n");
    for (const std::string list : {"policy", "milter", "socketmap"})
        ASSERT_EQ(daemon.Ctl({"reload", list}).status, 0);
    // A proxy in front of smtpd, which tells it the user.
    const Postfix postfix(m_dir, "", "smtpd_authorized_xclient_hosts = 127.0.0.1\n");
    const auto reply = [&](const std::string& user, const std::string& sender) {
        const std::unique_ptr<SmtpSession> client = postfix.Connect();
        if (!user.empty()) {
            EXPECT_THAT(client->Say("XCLIENT LOGIN=" + user), StartsWith("220 "));
        }
        EXPECT_THAT(client->Say("EHLO client.test"), StartsWith("250 "));
        const std::string mail = client->Mail(sender);
        return mail[0] == '2' ? client->Say("RCPT TO:<a@example.test>") : mail;
    };
    const std::string refused = "554 5.7.1 <a@example.test>: Recipient address rejected: ";
    EXPECT_EQ(reply("mallory", "good@x.test"), refused + "user by policy");
    EXPECT_EQ(reply("Mallory", "good@x.test"), refused + "user by policy");
    EXPECT_EQ(reply("gr+C3+BCn", "good@x.test"), refused + "eight bits");
    EXPECT_EQ(reply("trudy", "good@x.test"), "550 5.7.1 user by milter");
    EXPECT_EQ(reply("bob", "good@x.test"), "250 2.1.5 Ok");
    EXPECT_EQ(reply("", "good@x.test"), "250 2.1.5 Ok");
    // The first rule that finds something decides.
    EXPECT_EQ(reply("bob", "listed@bad.test"), refused + "sender by policy");
    EXPECT_EQ(reply("", "listed@bad.test"), refused + "sender by policy");
    EXPECT_EQ(reply("mallory", "listed@bad.test"), refused + "user by policy");
    EXPECT_EQ(reply("alice@corp.lan", "listed@bad.test"), "250 2.1.5 Ok");
}

TEST_F(MailClients, PostfixAsksAboutClientsRecipientsAndDomains) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    Load("socketmap", "192.0.2.9 REJECT client\nbad-helo.test REJECT helo\n"
                      "listed@example.test REJECT recipient\n");
    Load("policy", "relay.test\n");
    Load("milter", "moved@example.test error:5.1.6 moved away\n");
    const std::string map = Socketmap("socketmap");
    const Postfix postfix(m_dir, "",
                          "smtpd_authorized_xclient_hosts = 127.0.0.1\nsmtpd_milters =\n"
                          "smtpd_client_restrictions = check_client_access " +
                              map + "\nsmtpd_helo_restrictions = check_helo_access " + map +
                              "\nsmtpd_recipient_restrictions = check_recipient_access " + map +
                              "\nrelay_domains = " + Socketmap("policy") +
                              "\ntransport_maps = " + Socketmap("milter") + "\n");
    EXPECT_EQ(postfix.Connect()->Say("XCLIENT ADDR=192.0.2.9"),
              "554 5.7.1 <unknown[192.0.2.9]>: Client host rejected: client");
    const std::unique_ptr<SmtpSession> client = postfix.Connect();
    const auto say = [&](const std::string& command) { return client->Say(command); };
    EXPECT_THAT(say("XCLIENT ADDR=192.0.2.7"), StartsWith("220 "));
    EXPECT_EQ(say("EHLO Bad-Helo.Test"), "554 5.7.1 <Bad-Helo.Test>: Helo command rejected: helo");
    EXPECT_THAT(say("EHLO client.test"), StartsWith("250 "));
    EXPECT_EQ(say("MAIL FROM:<good@x.test>"), "250 2.1.0 Ok");
    EXPECT_EQ(say("RCPT TO:<Listed@Example.Test>"),
              "554 5.7.1 <Listed@Example.Test>: Recipient address rejected: recipient");
    EXPECT_EQ(say("RCPT TO:<Moved@Example.Test>"), // maps of transports get it as it was typed
              "550 5.1.6 <Moved@Example.Test>: Recipient address rejected: moved away");
    EXPECT_EQ(say("RCPT TO:<a@example.test>"), "250 2.1.5 Ok");
    EXPECT_EQ(say("RCPT TO:<a@Relay.Test>"), "250 2.1.5 Ok");
    EXPECT_EQ(say("RCPT TO:<a@other.test>"), "554 5.7.1 <a@other.test>: Relay access denied");
    m_daemon->Kill();
    EXPECT_THAT(say("RCPT TO:<b@relay.test>"), StartsWith("451 "));
}

TEST_F(MailClients, PostfixCarriesOutWhatTheMilterSays) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    for (const std::string list : {"socketmap", "policy"})
        Load(list, NOBODY);
    Load("milter", ACTIONS);
    const Postfix postfix(m_dir, "check_sender_access " + Socketmap("socketmap"));
    const std::unique_ptr<SmtpSession> client = postfix.Connect();
    const auto send = [&](const std::string& sender) {
        EXPECT_EQ(client->Mail(sender), "250 2.1.0 Ok") << sender;
        EXPECT_EQ(client->Say("RCPT TO:<a@example.test>"), "250 2.1.5 Ok");
        EXPECT_THAT(client->Say("DATA"), StartsWith("354 "));
        EXPECT_THAT(client->Say("Subject: " + sender + "\r\n\r\ntext\r\n."), StartsWith("250 "))
            << postfix.GetLog();
    };
    using testing::AllOf;
    using testing::ElementsAre;
    using testing::IsEmpty;
    using testing::Not;
    send("discard@example.test");
    EXPECT_THAT(postfix.GetMails("incoming"), IsEmpty());
    send("hold@example.test");
    EXPECT_THAT(postfix.GetMails("incoming"), IsEmpty());
    EXPECT_THAT(postfix.GetMails("hold"), ElementsAre(HasSubstr("hold@example.test")));
    send("header@example.test");
    EXPECT_THAT(postfix.GetMails("incoming"),
                ElementsAre(AllOf(HasSubstr("header@example.test"), HasSubstr("X-Listed: yes"))));
    EXPECT_THAT(postfix.GetMails("hold"), ElementsAre(Not(HasSubstr("X-Listed"))));
}

TEST_F(MailClients, PostfixTakesTheLongestResults) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    constexpr std::size_t LONGEST = 8192; // of a result for a policy service or a milter
    for (const std::string list : {"policy", "milter"}) {
        const std::string action = "REJECT " + std::string(LONGEST - 7, 'x');
        m_dir.Write(list + ".list", list + "-longest@bad.test " + action + "\n" + list +
                                        "-longer@bad.test " + action + "x\n");
        ASSERT_EQ(m_daemon->Ctl({"reload", list}).status, 0);
    }
    m_dir.Write("socketmap.list", "longest@bad.test REJECT " + std::string(99997 - 7, 'x') +
                                      "\nlonger@bad.test REJECT " + std::string(99998 - 7, 'x') +
                                      "\n");
    ASSERT_EQ(m_daemon->Ctl({"reload", "socketmap"}).status, 0);
    const Postfix postfix(m_dir, "check_sender_access " + Socketmap("socketmap"));
    const std::unique_ptr<SmtpSession> client = postfix.Connect();
    const std::pair<const char*, const char*> cases[] = {
        {"longest@bad.test", "554 5.7.1 <longest@bad.test>: Sender address rejected: xxx"},
        {"longer@bad.test", "451 4.3.5 <longer@bad.test>: Sender address rejected: Server"},
        {"milter-longest@bad.test", "550 5.7.1 xxx"},
        {"milter-longer@bad.test", "451 4.3.5 Server configuration error"},
        {"policy-longest@bad.test", "554 5.7.1 <a@example.test>: Recipient address rejected: xxx"},
        {"policy-longer@bad.test", "450 4.3.0 <a@example.test>: Recipient address rejected: the "
                                   "action cannot be sent"},
        {"good@bad.test", "250 2.1.5 Ok"}};
    for (const auto& [sender, expected] : cases) {
        std::string reply = client->Mail(sender);
        if (reply[0] == '2')
            reply = client->Say("RCPT TO:<a@example.test>");
        EXPECT_THAT(reply, StartsWith(expected)) << sender;
    }
}

TEST_F(MailClients, PostfixDefersWhatCannotBeAsked) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can start Postfix";
    m_daemon->Stop();
    const auto refusal = [&](const std::string& text, const std::string& other,
                             const std::string& maps) {
        std::string config = Config();
        if (!text.empty())
            config.replace(config.find(text), text.size(), other);
        const Daemon down(m_dir, config);
        const Postfix postfix(m_dir, maps);
        const std::unique_ptr<SmtpSession> client = postfix.Connect();
        const std::string reply = client->Say("MAIL FROM:<a@x.test>");
        return reply[0] == '2' ? client->Say("RCPT TO:<a@example.test>") : reply;
    };
    EXPECT_EQ(refusal("sender:milter", "sender:down", ""),
              "451 4.3.0 Cannot look this up now, try again later");
    EXPECT_EQ(refusal("sender:policy", "sender:down", ""),
              "450 4.3.0 <a@example.test>: Recipient address rejected: cannot look this up now, "
              "try again later");
    for (const std::string& map : {Socketmap("down"), TcpDown()})
        EXPECT_EQ(refusal("", "", "check_sender_access " + map),
                  "451 4.3.5 <a@x.test>: Sender address rejected: Server configuration error")
            << map;
}

} // namespace
