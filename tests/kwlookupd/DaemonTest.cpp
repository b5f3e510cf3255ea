// SPDX-License-Identifier: MIT
#include "kwlookupd/Daemon.h"
#include "kwlookupd/Client.h"
#include "kwlookupd/IsLongTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

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
    const std::string fault =
        "the list has errors in [file:" + m_dir.Path("bad") + "], see the log\n";
    EXPECT_THAT(daemon.Ctl({"status"}).out, HasSubstr("bad: not loaded; " + fault));
    EXPECT_EQ(daemon.Ctl({"reload", "bad"}).err, "bad: " + fault);
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
    result = daemon.Ctl({"status"});
    EXPECT_THAT(result.out, HasSubstr(", +4 -0 =0, rolled back\n"));
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

TEST_F(DaemonTest, TakesSignalsWhileItLoadsItsLists) {
    const std::string pipe = m_dir.Path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string config = Daemon::WriteConfig(
        m_dir, std::string("Types = waiting\n[list hosts]\nObjects = waiting:@/pipe\n") + DOOR);
    const auto wait_for_load = [&] {
        kwlookup::FileDescriptor writer;
        EXPECT_TRUE(Becomes([&] {
            writer = kwlookup::FileDescriptor(::open(pipe.c_str(), O_WRONLY | O_NONBLOCK));
            return static_cast<bool>(writer);
        }));
        return writer;
    };
    {
        RunningProgram daemon({KWLOOKUPD, "--config", config});
        kwlookup::FileDescriptor writer = wait_for_load();
        for (const int signal : {SIGUSR1, SIGUSR2, SIGHUP})
            ::kill(daemon.GetPid(), signal);
        EXPECT_EQ(::write(writer.Get(), "", 1), 1);
        writer = kwlookup::FileDescriptor();
        EXPECT_EQ(Ask("hosts", "a.lan"), "NOTFOUND ");
        writer = wait_for_load(); // that of the hangup
        EXPECT_EQ(::write(writer.Get(), "", 1), 1);
        ::kill(daemon.GetPid(), SIGTERM);
        EXPECT_EQ(daemon.Finish().status, 0);
    }
    RunningProgram daemon({KWLOOKUPD, "--config", config});
    const kwlookup::FileDescriptor writer = wait_for_load();
    ::kill(daemon.GetPid(), SIGTERM);
    EXPECT_EQ(daemon.Finish().status, 128 + SIGTERM);
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
                             DOOR + "[door tables]\nProtocol = tcp\nAddress = unix:@/tables\n");
    struct Asker {
        std::string door;
        std::string request; ///< both in one packet, so that they are answered together
        std::string answers[2];
        std::atomic<int> seen[2]{};
        std::string wrong{};
        std::thread thread{};
    };
    Asker askers[] = {{"maps",
                       "14:hosts both.lan,16:hosts host42.lan,",
                       {"4:OK 1,13:OK host42.lan,", "4:OK 2,13:OK host42.lan,"}},
                      {"tables",
                       "get both.lan\nget host42.lan\n",
                       {"200 1\n200 host42.lan\n", "200 2\n200 host42.lan\n"}}};
    std::atomic<bool> end{false};
    for (Asker& asker : askers)
        asker.thread = std::thread([&] {
            Client client("unix:" + m_dir.Path(asker.door));
            while (!end && asker.wrong.empty()) {
                client.Send(asker.request);
                const std::string answer = client.Receive(asker.answers[0].size());
                if (answer == asker.answers[0])
                    ++asker.seen[0];
                else if (answer == asker.answers[1])
                    ++asker.seen[1];
                else
                    asker.wrong = answer + '?';
            }
        });
    using Clock = std::chrono::steady_clock;
    const auto generation = [&] {
        const std::string status = daemon.Ctl({"status"}).out;
        const std::string before = ", generation ";
        return std::stoi(status.substr(status.find(before) + before.size()));
    };
    const auto start = Clock::now();
    const std::chrono::seconds time(IsLongTest() ? 60 : 1);
    const int wanted = IsLongTest() ? 1000 : 20; // reloads; some signals come while it loads
    int reloads = 0;
    const std::chrono::seconds limit = time + std::chrono::minutes(3);
    int last = 0;
    while (Clock::now() - start < limit && (Clock::now() - start < time || last <= wanted)) {
        for (int i = 0; i < 50; ++i) {
            Replace("hosts", lists[++reloads % 2]);
            daemon.Signal(SIGHUP);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        last = generation();
    }
    EXPECT_GT(last, wanted);
    EXPECT_TRUE(
        Becomes([&] { return Ask("hosts", "both.lan") == (reloads % 2 == 0 ? "OK 1" : "OK 2"); }));
    end = true;
    for (Asker& asker : askers) {
        asker.thread.join();
        EXPECT_EQ(asker.wrong, "") << asker.door;
        EXPECT_GT(asker.seen[0], 0) << asker.door;
        EXPECT_GT(asker.seen[1], 0) << asker.door;
    }
}

TEST_F(DaemonTest, FoldsCaseItselfWhateverTheDoor) {
    m_dir.Write("hosts", "JDoe@Corp.LAN yes\n");
    const Daemon daemon(m_dir, std::string("[list hosts]\nObjects = file:@/hosts\n") + DOOR +
                                   "[door tables]\nProtocol = tcp\nAddress = unix:@/tables\n"
                                   "[door dict]\nProtocol = dict\nAddress = unix:@/dict\n");
    EXPECT_EQ(Ask("hosts", "jdoE@cORP.Lan"), "OK yes");
    Client tables("unix:" + m_dir.Path("tables"));
    tables.Send("get jdoe@corp.lan\nget JDOE@CORP.LAN\n");
    EXPECT_EQ(tables.Receive(16), "200 yes\n200 yes\n");
    Client dict("unix:" + m_dir.Path("dict"));
    dict.Send("H3\t2\t0\t\thosts\nLshared/JDOE@corp.lan\tbob\nLpriv/jdoe@CORP.lan\tbob\n");
    EXPECT_EQ(dict.Receive(10), "Oyes\nOyes\n");
}

TEST_F(DaemonTest, LogsNothingWhenClientsComeAndGo) {
    const Daemon daemon(m_dir, std::string("[list hosts]\nObjects = a.lan\n") + DOOR +
                                   "[door tables]\nProtocol = tcp\nAddress = unix:@/tables\n"
                                   "[door dict]\nProtocol = dict\nAddress = unix:@/dict\n"
                                   "[door web]\nProtocol = http\nAddress = unix:@/web\n");
    const std::pair<const char*, const char*> requests[] = {
        {"maps", "11:hosts a.lan,"},
        {"tables", "get a.lan\n"},
        {"dict", "H3\t2\t0\t\thosts\nLshared/a.lan\tbob\n"},
        {"web", "GET /hosts?text=a.lan HTTP/1.1\r\nHost: x\r\n\r\n"}};
    const std::string before = daemon.GetLog();
    for (const auto& [door, request] : requests) {
        const std::string address = "unix:" + m_dir.Path(door);
        const Client silent(address);
        Client hangs_up(address), does_not_read(address), half(address);
        hangs_up.Send(request);
        EXPECT_NE(hangs_up.Receive(1), "") << door;
        does_not_read.Send(request);
        half.Send(std::string_view(request).substr(0, 5));
    }
    // Each door has served its clients to their ends when it answers later ones.
    for (const auto& [door, request] : requests) {
        for (int i = 0; i < 20; ++i) {
            Client client("unix:" + m_dir.Path(door));
            client.Send(request);
            EXPECT_NE(client.Receive(1), "") << door;
        }
    }
    EXPECT_EQ(daemon.GetLog(), before);
}

// As root, it becomes another user. Otherwise it can only stay what it is.
TEST_F(DaemonTest, BecomesItsUserAfterItHasOpenedItsDoors) {
    const passwd* const found = ::geteuid() == 0 ? ::getpwnam("nobody") : ::getpwuid(::geteuid());
    ASSERT_NE(found, nullptr);
    const passwd user = *found;
    const auto owner = [&](const std::string& file) {
        struct stat status {};
        EXPECT_EQ(::lstat(m_dir.Path(file).c_str(), &status), 0) << file;
        return status.st_uid;
    };
    m_dir.Write("hosts", "a.lan\n");
    std::filesystem::create_directory(m_dir.Path("doors")); // where only we may open a socket
    std::filesystem::permissions(m_dir.Path("doors"), std::filesystem::perms(0755));
    ASSERT_EQ(::chown(m_dir.Path(".").c_str(), user.pw_uid, user.pw_gid), 0);
    Daemon daemon(m_dir, std::string("User = ") + user.pw_name +
                             "\n[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n"
                             "[door maps]\nProtocol = socketmap\nAddress = unix:@/doors/maps\n");
    const std::string pid = std::to_string(daemon.GetPid());
    int threads = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + pid + "/task")) {
        std::ifstream in(task.path() / "status");
        const std::string status{std::istreambuf_iterator<char>(in), {}};
        for (const auto& [name, id] : {std::pair("\nUid:", user.pw_uid), {"\nGid:", user.pw_gid}}) {
            std::string line = name;
            for (int i = 0; i < 4; ++i) // real, effective, saved, of the file system
                line += '\t' + std::to_string(id);
            EXPECT_THAT(status, HasSubstr(line + '\n'));
        }
        ++threads;
    }
    EXPECT_GT(threads, 1);
    EXPECT_EQ(owner("doors/maps"), ::geteuid());
    EXPECT_EQ(owner("control"), user.pw_uid);
    const std::string address = "unix:" + m_dir.Path("doors/maps");
    EXPECT_EQ(Daemon::Ask(address, "hosts", "a.lan"), "OK a.lan");
    Replace("hosts", "a.lan\nb.lan\n");
    EXPECT_EQ(daemon.Ctl({"reload"}).status, 0);
    EXPECT_EQ(Daemon::Ask(address, "hosts", "b.lan"), "OK b.lan");
    EXPECT_EQ(daemon.Stop(), 0);
}

TEST_F(DaemonTest, ServesASocketOfSystemd) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    const std::string path = m_dir.Path("passed");
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    const kwlookup::FileDescriptor opened(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(opened.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    ASSERT_EQ(::listen(opened.Get(), SOMAXCONN), 0);
    const kwlookup::FileDescriptor passed(::fcntl(opened.Get(), F_DUPFD, 10));
    // This client comes before the daemon.
    Client early("unix:" + path);
    early.Send("11:hosts a.lan,");
    const std::string config =
        Daemon::WriteConfig(m_dir, "[list hosts]\nObjects = a.lan\n[door maps]\n"
                                   "Protocol = socketmap\nAddress = systemd:maps\n");
    for (int i = 0; i < 2; ++i) { // it can be started again
        RunningProgram daemon(
            {"/bin/bash", "-c",
             "LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=maps exec $0 --config $1 3<&$2", KWLOOKUPD,
             config, std::to_string(passed.Get())});
        if (i == 0) {
            EXPECT_EQ(early.Receive(11), "8:OK a.lan,");
        }
        EXPECT_EQ(Daemon::Ask("unix:" + path, "hosts", "a.lan"), "OK a.lan");
        ::kill(daemon.GetPid(), SIGTERM);
        EXPECT_EQ(daemon.Finish().status, 0);
        EXPECT_TRUE(std::filesystem::exists(path)) << "the socket belongs to systemd";
    }
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

    m_dir.Write("hosts", "a.lan\n# a comment\n");
    result = check(list + DOOR);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("hosts:2: '#' does not begin a comment here"));

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
         "none], see the log; it cannot be asked"}};
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
