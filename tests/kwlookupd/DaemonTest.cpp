// SPDX-License-Identifier: MIT
#include "kwlookupd/Daemon.h"
#include "kwlookupd/Client.h"
#include "kwlookupd/IsLongTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr char DOOR[] = "[door maps]\nProtocol = socketmap\nAddress = unix:@/maps\n";

class DaemonTest : public testing::Test {
protected:
    std::string Ask(const std::string& list, const std::string& text) const {
        return Daemon::Ask("unix:" + m_dir.Path("maps"), list, text);
    }

    void Replace(const std::string& file, const std::string& text) const {
        m_dir.Write(file + ".new", text);
        std::filesystem::rename(m_dir.Path(file + ".new"), m_dir.Path(file));
    }

    template <typename Condition>
    bool Becomes(const Condition& holds) const {
        for (int i = 0; i < 3000; ++i) {
            if (holds())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    const TempDir m_dir;
};

} // namespace

TEST_F(DaemonTest, AnswersFromItsLists) {
    m_dir.Write("blocked", "bulk.example reject\nspam@corp.lan\n");
    Daemon daemon(m_dir, std::string("[list blocked]\nObjects = file:@/blocked\n"
                                     "[list users]\nObjects = jdoe@corp.lan\nSubAddress = +\n") +
                             DOOR);
    EXPECT_EQ(Ask("blocked", "x@bulk.example"), "OK reject");
    EXPECT_EQ(Ask("blocked", "SPAM@corp.lan"), "OK spam@corp.lan");
    EXPECT_EQ(Ask("blocked", "x@corp.lan"), "NOTFOUND ");
    EXPECT_EQ(Ask("users", "jdoe+tag@corp.lan"), "OK jdoe@corp.lan");
    EXPECT_THAT(Ask("other", "x"), Not(StartsWith("OK")));
    EXPECT_EQ(daemon.Stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(m_dir.Path("maps")));
    EXPECT_FALSE(std::filesystem::exists(m_dir.Path("control")));
}

TEST_F(DaemonTest, AListThatCannotBeLoadedIsUnavailableWhileOthersAnswer) {
    m_dir.Write("good", "a.lan\n");
    Daemon daemon(m_dir, std::string("[list good]\nObjects = file:@/good\n"
                                     "[list bad]\nObjects = file:@/bad\nSettle = 0\n") +
                             DOOR);
    EXPECT_EQ(Ask("good", "a.lan"), "OK a.lan");
    EXPECT_THAT(Ask("bad", "a.lan"), StartsWith("TEMP "));
    EXPECT_THAT(daemon.Ctl({"status"}).out, HasSubstr("bad: not loaded; the list has errors\n"));
    m_dir.Write("bad", "b.lan\n");
    EXPECT_TRUE(Becomes([&] { return Ask("bad", "b.lan") == "OK b.lan"; }));
}

TEST_F(DaemonTest, ReloadsOnCommand) {
    m_dir.Write("hosts", "a.lan\nb.lan\nc.lan\n");
    Daemon daemon(m_dir,
                  std::string("[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n") + DOOR);
    Client idle("unix:" + m_dir.Path("maps"));
    Replace("hosts", "a.lan\nb.lan\nc.lan\nd.lan\n");
    EXPECT_EQ(Ask("hosts", "d.lan"), "NOTFOUND ");
    ProgramResult result = daemon.Ctl({"reload"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "hosts: +1 -0 =3\n");
    EXPECT_EQ(Ask("hosts", "d.lan"), "OK d.lan");

    Replace("hosts", "");
    result = daemon.Ctl({"reload", "hosts"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("hosts: the new list has 0 records, the old one 4"));
    EXPECT_EQ(Ask("hosts", "d.lan"), "OK d.lan");
    EXPECT_EQ(daemon.Ctl({"reload", "hosts", "--force"}).out, "hosts: +0 -4 =0\n");
    EXPECT_EQ(Ask("hosts", "d.lan"), "NOTFOUND ");
    EXPECT_EQ(daemon.Ctl({"rollback", "hosts"}).out, "hosts: 4 records\n");
    EXPECT_EQ(Ask("hosts", "d.lan"), "OK d.lan");

    std::filesystem::remove(m_dir.Path("hosts"));
    EXPECT_EQ(daemon.Ctl({"reload"}).status, 1);
    EXPECT_EQ(Ask("hosts", "d.lan"), "OK d.lan");
    EXPECT_EQ(daemon.Ctl({"reload", "other"}).err, "there is no list 'other'\n");
    EXPECT_THAT(daemon.GetLog(), HasSubstr("kwlookupd: info: list hosts: loaded, +1 -0 =3\n"));
    // A connection that was opened before still works.
    idle.Send("11:hosts d.lan,");
    EXPECT_EQ(idle.Receive(11), "8:OK d.lan,");
}

TEST_F(DaemonTest, ReloadsOnHangup) {
    m_dir.Write("hosts", "a.lan\n");
    Daemon daemon(m_dir,
                  std::string("[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n") + DOOR);
    for (const char* host : {"b.lan", "c.lan"}) {
        Replace("hosts", std::string("a.lan\n") + host + '\n');
        daemon.Signal(SIGHUP);
        EXPECT_TRUE(Becomes([&] { return Ask("hosts", host) == std::string("OK ") + host; }));
    }
}

TEST_F(DaemonTest, EveryAnswerIsThatOfTheOldOrTheNewList) {
    // Each list has one of the two hosts, with the same number of records.
    std::string hosts;
    for (int i = 0; i < 200; ++i)
        hosts += "host" + std::to_string(i) + ".lan\n";
    const std::string lists[] = {hosts + "one.lan 1\nboth.lan 1\n",
                                 hosts + "two.lan 2\nboth.lan 2\n"};
    m_dir.Write("hosts", lists[0]);
    Daemon daemon(m_dir, std::string("[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n") +
                             DOOR + "[door more]\nProtocol = tcp\nAddress = unix:@/tcp\n");
    std::atomic<bool> end{false};
    std::atomic<int> answers{0};
    std::string wrong;
    std::thread asker([&] {
        Client client("unix:" + m_dir.Path("maps"));
        while (!end) {
            // Both in one packet, so that they are answered together.
            client.Send("14:hosts both.lan,16:hosts host42.lan,");
            const std::string answer = client.Receive(7 + 17);
            if (answer != "4:OK 1,13:OK host42.lan," && answer != "4:OK 2,13:OK host42.lan,") {
                wrong = answer;
                break;
            }
            ++answers;
        }
    });
    const auto start = std::chrono::steady_clock::now();
    int reloads = 0;
    const std::chrono::seconds time(IsLongTest() ? 60 : 1);
    while (std::chrono::steady_clock::now() - start < time || reloads < 20) {
        Replace("hosts", lists[++reloads % 2]);
        daemon.Signal(SIGHUP);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(
        Becomes([&] { return Ask("hosts", "both.lan") == (reloads % 2 == 0 ? "OK 1" : "OK 2"); }));
    end = true;
    asker.join();
    EXPECT_EQ(wrong, "");
    EXPECT_GT(answers, 0);
}

TEST_F(DaemonTest, AnswersHttpFromWhatItKnows) {
    m_dir.Write("hosts", "a.lan\n  b.lan \treject  it\n");
    const Daemon daemon(m_dir, "[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n"
                               "[door web]\nProtocol = http\nAddress = unix:@/web\n");
    const auto get = [&](const std::string& path) {
        Client client("unix:" + m_dir.Path("web"));
        client.Send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
        return client.ReceiveAll();
    };
    EXPECT_THAT(get("/hosts?text=x@b.lan"), HasSubstr("200 OK"));
    EXPECT_THAT(get("/hosts?text=c.lan"), HasSubstr("404 "));
    const std::string whole = get("/hosts/all");
    EXPECT_THAT(whole, testing::EndsWith("\r\n\r\na.lan\nb.lan reject  it\n"));
    const auto etag = [](const std::string& answer) {
        return answer.substr(answer.find("ETag: "),
                             answer.substr(answer.find("ETag: ")).find('\r'));
    };
    daemon.Ctl({"reload"});
    EXPECT_EQ(etag(get("/hosts/all")), etag(whole));
    Replace("hosts", "a.lan\nc.lan\n");
    daemon.Ctl({"reload", "--force"});
    EXPECT_NE(etag(get("/hosts/all")), etag(whole));
    const std::string metrics = get("/metrics");
    EXPECT_THAT(metrics, HasSubstr("list=\"hosts\""));
    EXPECT_THAT(metrics, testing::ContainsRegex("outcome=\"found\"[^\n]* 1\n"));
}

TEST_F(DaemonTest, LogsSlowQuestionsWithTheirItem) {
    const Daemon daemon(m_dir, std::string("Types = waiting\nSlowTime = 10 ms\n"
                                           "[list slow]\nObjects = a.lan, waiting:50\n") +
                                   DOOR);
    EXPECT_EQ(Ask("slow", "slow@corp.lan"), "OK waited");
    EXPECT_EQ(Ask("slow", "a.lan"), "OK a.lan");
    EXPECT_THAT(daemon.GetLog(),
                HasSubstr("warning: list slow: the question for [slow@corp.lan] to "
                          "[waiting:50] took "));
    EXPECT_THAT(daemon.GetLog(), Not(HasSubstr("[a.lan]")));
}

TEST_F(DaemonTest, ChecksItsConfiguration) {
    m_dir.Write("hosts", "a.lan\n");
    const auto check = [&](const std::string& config) {
        return RunProgram({KWLOOKUPD, "--check", "--config", Daemon::WriteConfig(m_dir, config)});
    };
    const std::string list = "[list hosts]\nObjects = file:@/hosts\n";
    ProgramResult result = check(list + DOOR);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("kwlookupd.conf: 1 list, 1 door, no errors\n"));
    EXPECT_FALSE(std::filesystem::exists(m_dir.Path("maps"))) << "it opens no sockets";

    // The daemon may run already, as another user, in a directory that is made at the start.
    for (const char* address : {"unix:@/none/maps", "unix:@/hosts", "192.0.2.1:8823"}) {
        result = check(list + "[door a]\nProtocol = socketmap\nAddress = " + address + "\n");
        EXPECT_EQ(result.status, 0) << address;
        EXPECT_THAT(result.err, HasSubstr("kwlookupd.conf:5: door a: cannot listen at "))
            << address;
    }
    Daemon daemon(m_dir, list + DOOR);
    result = check(list + DOOR);
    daemon.Kill();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, Not(HasSubstr("cannot listen")));

    const std::pair<std::string, const char*> cases[] = {
        {list + "Colour = red\n" + DOOR, "kwlookupd.conf:5: unknown key 'Colour' in [list hosts]"},
        {list + "[door a]\nProtocol = carrier-pigeon\nAddress = unix:@/a\n",
         "kwlookupd.conf:5: door a: unknown Protocol \"carrier-pigeon\""},
        {list + "[door a]\nProtocol = tcp\nAddress = 127.0.0.1\nLists = hosts\n",
         "kwlookupd.conf:5: door a: Address: \"127.0.0.1\" is not like 127.0.0.1:8823"},
        {list + "[door a]\nProtocol = tcp\nAddress = unix:@/a\nMode = 0999\n",
         "kwlookupd.conf:5: door a: Mode: \"0999\" is no mode such as 0660"},
        {list + "[door a]\nProtocol = tcp\nAddress = 127.0.0.1:1\nAllowFrom = here\n",
         "kwlookupd.conf:5: "},
        {std::string("[list a]\nObjects = file:@/none\n") + DOOR,
         "list a: the list has errors; it cannot be asked"}};
    for (const auto& [config, error] : cases) {
        result = check(config);
        EXPECT_EQ(result.status, 78) << config;
        EXPECT_THAT(result.err, HasSubstr(error));
    }
    EXPECT_EQ(RunProgram({KWLOOKUPD, "--config", m_dir.Path("none")}).status, 69);
}

TEST_F(DaemonTest, AnswersAgainAfterItWasKilled) {
    Daemon daemon(m_dir, std::string("[list hosts]\nObjects = a.lan\n") + DOOR);
    for (int i = 0; i < 3; ++i) {
        daemon.Kill();
        daemon.Start();
        EXPECT_EQ(Ask("hosts", "a.lan"), "OK a.lan");
    }
}
