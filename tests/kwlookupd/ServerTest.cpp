// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Server.h"

#include "kwlookupd/Client.h"
#include "objects/TestPlugins.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/status/Metrics.h"
#include "tools/lists/Plugin.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using kwlookup::DoorConfig;
using kwlookup::ListGeneration;
using kwlookup::Server;
using kwlookup::ServerSettings;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const LogClass SERVER_LOG("lists");

std::string Net(const std::string& payload) {
    return std::to_string(payload.size()) + ":" + payload + ",";
}

std::shared_ptr<const ListGeneration> MakeList(const std::string& objects) {
    kwlookup::ListSettings settings;
    settings.name = "list";
    settings.objects = objects;
    return std::make_shared<ListGeneration>(settings, SERVER_LOG, nullptr);
}

/// Waits until `holds`, for at most 30 seconds.
template <typename Condition>
bool Becomes(const Condition& holds) {
    for (int i = 0; i < 3000; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(milliseconds(10));
    }
    return false;
}

/// The threads of this process, as folders.
std::set<std::string> GetThreads() {
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.insert(entry.path());
    return threads;
}

/// How often a thread has waited and gone on. 0 for one that has ended.
long CountWakes(const std::string& thread) {
    std::ifstream status(thread + "/status");
    for (std::string name, value; status >> name && std::getline(status, value);)
        if (name == "voluntary_ctxt_switches:")
            return std::stol(value);
    return 0;
}

/// A door that calls a function, if there is one, in the thread of each new connection. Threads:
/// any may set the function.
class HookedDoor : public kwlookup::Door {
public:
    using Hook = std::function<void()>;

    explicit HookedDoor(const DoorConfig& config) : m_door(kwlookup::MakeDoor(config)) {}
    std::unique_ptr<kwlookup::Session> NewSession() const override {
        if (const auto hook = std::atomic_load(&m_hook))
            (*hook)();
        return m_door->NewSession();
    }
    void SetHook(const Hook& hook) {
        std::atomic_store(&m_hook, hook ? std::make_shared<Hook>(hook) : nullptr);
    }

private:
    const std::unique_ptr<kwlookup::Door> m_door;
    std::shared_ptr<Hook> m_hook;
};

/// A server with the lists "fast" (in memory), "slow" (waits 20 ms), "stuck" (1 s) and "none" (not
/// loaded), and with a socketmap door on TCP and UNIX sockets and a tcp door.
class ServerTest : public testing::Test {
protected:
    ServerTest() {
        RecordingLog::Reset(WARN);
        kwlookup::RegisterType("waiting");
        m_socketmap.name = "maps";
        m_socketmap.protocol = "socketmap";
        m_socketmap.addresses = {"127.0.0.1:0", "[::1]:0", "unix:" + m_dir.Path("maps")};
        m_socketmap.lists = {{"fast", 0}, {"slow", 1}, {"stuck", 2}, {"none", 3}};
        m_tcp.name = "tables";
        m_tcp.protocol = "tcp";
        m_tcp.addresses = {"127.0.0.1:0"};
        m_tcp.lists = {{"fast", 0}};
        m_settings.io_threads = 2;
        m_settings.answer_time = std::chrono::seconds(20); // the machine may be busy
    }
    ~ServerTest() override { Stop(); }

    void Start() {
        std::vector<Server::OpenDoor> doors;
        auto hooked = std::make_unique<HookedDoor>(m_socketmap);
        m_door = hooked.get();
        doors.push_back({m_socketmap, std::move(hooked)});
        doors.push_back({m_tcp, kwlookup::MakeDoor(m_tcp)});
        m_metrics = std::make_unique<kwlookup::Metrics>(
            std::vector<DoorConfig>{m_socketmap, m_tcp},
            std::vector<std::string>{"fast", "slow", "stuck", "none"}, m_settings.io_threads);
        m_server = std::make_unique<Server>(m_settings, std::move(doors), m_metrics.get());
        m_server->SetList(0, MakeList("jdoe@corp.lan yes, root@corp.lan, big@corp.lan " +
                                      std::string(60000, 'b')));
        m_server->SetList(1, MakeList("waiting:20"));
        m_server->SetList(2, MakeList("waiting:1000"));
        m_thread = std::thread([this] { m_server->Run(); });
    }
    void Stop() {
        if (m_thread.joinable()) {
            m_server->Stop();
            m_thread.join();
        }
        m_server.reset();
    }

    /// Makes the list "fast" so long that the server has more to do than its clients.
    void KeepBusy() {
        std::string objects;
        for (int i = 0; i < 2000; ++i)
            objects += "host" + std::to_string(i) + ".lan, ";
        m_server->SetList(0, MakeList(objects + "jdoe@corp.lan yes"));
    }

    std::string Maps() const { return m_server->GetAddresses(0).at(2); }

    /// The answer to one request on a new connection.
    std::string Ask(const std::string& request) const {
        Client client(Maps());
        client.Send(Net(request));
        client.End();
        return client.ReceiveAll();
    }

    TempDir m_dir;
    ServerSettings m_settings;
    DoorConfig m_socketmap, m_tcp;
    HookedDoor* m_door = nullptr; ///< of m_socketmap
    std::unique_ptr<kwlookup::Metrics> m_metrics;
    std::unique_ptr<Server> m_server;
    std::thread m_thread;
};

} // namespace

TEST_F(ServerTest, AnswersAtEachAddress) {
    Start();
    for (const std::string& address : m_server->GetAddresses(0)) {
        Client client(address);
        for (int i = 0; i < 3; ++i) {
            client.Send(Net("fast JDoe@corp.lan") + Net("fast nobody@corp.lan"));
            EXPECT_EQ(client.Receive(21), "6:OK yes,9:NOTFOUND ,") << address;
        }
    }
    Client client(m_server->GetAddresses(1).at(0));
    client.Send("get jdoe@corp.lan\nget x\n");
    EXPECT_EQ(client.Receive(24), "200 yes\n500 not%20found\n");
    EXPECT_THAT(m_server->GetAddresses(0), ElementsAre(HasSubstr("127.0.0.1:"), HasSubstr("[::1]:"),
                                                       "unix:" + m_dir.Path("maps")));
}

TEST_F(ServerTest, AnswersAfterAHalfClose) {
    Start();
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), "6:OK yes,");
    EXPECT_EQ(Ask("slow slow@corp.lan"), Net("OK waited"));
    EXPECT_EQ(Ask("none jdoe@corp.lan"), Net("TEMP the list has not been loaded"));
    EXPECT_EQ(Ask("other jdoe@corp.lan"), Net("PERM unknown list"));
}

TEST_F(ServerTest, SendsTheAnswerToGarbageBeforeItCloses) {
    Start();
    Client client(m_server->GetAddresses(0).at(0));
    // More than is read at once: closing with unread bytes would reset the connection.
    client.Send(Net("fast jdoe@corp.lan") + "garbage" + std::string(300000, 'x'));
    EXPECT_EQ(client.ReceiveAll(), "6:OK yes," + Net("PERM malformed request"));
}

TEST_F(ServerTest, AnswersPipelinedRequestsInOrder) {
    m_settings.max_in_flight = 40;
    Start();
    std::string requests, answers;
    for (int i = 0; i < 3000; ++i) {
        const int kind = i * 7 % 11;
        const bool waits = i % 500 < 8;
        requests += Net((waits      ? "slow slow"
                         : kind < 5 ? "fast jdoe"
                                    : "fast none") +
                        std::string("@corp.lan"));
        answers += waits ? Net("OK waited") : kind < 5 ? "6:OK yes," : "9:NOTFOUND ,";
    }
    for (const std::size_t piece : {std::string::npos, std::size_t{1000}, std::size_t{7}}) {
        Client client(Maps());
        std::thread sender([&] {
            for (std::size_t i = 0; i < requests.size(); i += std::min(piece, requests.size()))
                client.Send(std::string_view(requests).substr(i, piece));
        });
        EXPECT_TRUE(client.Receive(answers.size()) == answers) << piece;
        sender.join();
    }
}

// The server reads as much at once, and is told of new input once.
TEST_F(ServerTest, AnswersInputThatFillsItsBuffer) {
    constexpr std::size_t BUFFER = 65536;
    Start();
    std::string requests, answers;
    while (requests.size() < 4 * BUFFER) {
        requests += Net("fast jdoe@corp.lan");
        answers += "6:OK yes,";
    }
    for (const std::size_t size : {BUFFER - 1, BUFFER, BUFFER + 1, 3 * BUFFER}) {
        Client client(Maps());
        std::thread sender([&] {
            client.Send(std::string_view(requests).substr(0, size));
            client.End();
        });
        const std::size_t count = size / Net("fast jdoe@corp.lan").size();
        EXPECT_TRUE(client.ReceiveAll() == answers.substr(0, count * 9)) << size;
        sender.join();
    }
}

TEST_F(ServerTest, AnswersManyConnectionsAtOnceEachItsOwn) {
    Start();
    std::deque<Client> clients;
    for (int i = 0; i < 40; ++i)
        clients.emplace_back(Maps());
    for (int round = 0; round < 20; ++round) {
        for (std::size_t i = 0; i < clients.size(); ++i)
            for (int j = 0; j < 5; ++j)
                clients[i].Send(Net(i % 9 == 0   ? "fast"
                                    : i % 7 == 0 ? "slow slow@corp.lan"
                                    : i % 2 == 0 ? "fast jdoe@corp.lan"
                                                 : "fast none@corp.lan"));
        for (std::size_t i = 0; i < clients.size(); ++i) {
            const std::string answer = i % 9 == 0   ? Net("PERM the request has no list and key")
                                       : i % 7 == 0 ? Net("OK waited")
                                       : i % 2 == 0 ? "6:OK yes,"
                                                    : "9:NOTFOUND ,";
            for (int j = 0; j < 5; ++j)
                ASSERT_EQ(clients[i].Receive(answer.size()), answer) << i;
        }
    }
}

TEST_F(ServerTest, SharesItsWorkAmongThreads) {
    const std::set<std::string> others = GetThreads();
    Start();
    // Counts the threads of the server that have woken up at least ten times while `work` was done.
    const auto count_busy = [&](const std::function<void()>& work) {
        std::map<std::string, long> wakes;
        for (const std::string& thread : GetThreads())
            if (others.count(thread) == 0)
                wakes[thread] = -CountWakes(thread);
        work();
        return std::count_if(wakes.begin(), wakes.end(), [](const auto& thread) {
            return thread.second + CountWakes(thread.first) >= 10;
        });
    };
    KeepBusy();
    const std::string request = Net("fast jdoe@corp.lan"), answer = "6:OK yes,";
    std::deque<Client> clients;
    for (int i = 0; i < 8; ++i)
        clients.emplace_back(Maps());
    const auto ask_often = [&] {
        std::vector<std::thread> threads;
        for (Client& client : clients)
            threads.emplace_back([&] {
                for (int i = 0; i < 200; ++i) {
                    client.Send(request);
                    EXPECT_EQ(client.Receive(answer.size()), answer);
                }
            });
        for (std::thread& thread : threads)
            thread.join();
    };
    const auto ask_rarely = [&] {
        for (int i = 0; i < 25; ++i) {
            std::this_thread::sleep_for(milliseconds(5));
            for (Client& client : clients) {
                client.Send(request);
                EXPECT_EQ(client.Receive(answer.size()), answer);
            }
        }
    };
    EXPECT_TRUE(Becomes([&] { return count_busy(ask_often) >= 2; }));
    EXPECT_TRUE(Becomes([&] { return count_busy(ask_rarely) == 1; }));
}

#ifndef __SANITIZE_THREAD__ // which makes these clients too slow to keep a thread busy
TEST_F(ServerTest, ClosesAConnectionThatAnotherThreadCannotTakeOver) {
    constexpr std::size_t COUNT = 8;
    m_settings.max_connections = COUNT + 1;
    Start();
    KeepBusy();
    // The first thread works, so the other one gets the clients.
    std::promise<void> held, release;
    m_door->SetHook([&] {
        held.set_value();
        release.get_future().wait();
        throw std::runtime_error("refused");
    });
    Client refused(Maps());
    held.get_future().wait();
    m_door->SetHook({});
    std::this_thread::sleep_for(milliseconds(50));
    std::optional<FailingAllocation> failing;
    std::atomic<bool> fails{false};
    m_server->SetList(4, nullptr, [&] {
        failing.emplace(0);
        fails = true;
    });
    const std::string request = Net("fast jdoe@corp.lan"), answer = "6:OK yes,";
    std::deque<Client> clients;
    for (std::size_t i = 0; i < COUNT; ++i) {
        clients.emplace_back(Maps());
        clients.back().Send(request);
        EXPECT_EQ(clients.back().Receive(answer.size()), answer);
    }
    release.set_value();
    EXPECT_TRUE(Becomes([&] { return fails.load(); }));

    std::atomic<std::size_t> closed{0};
    std::vector<std::thread> threads;
    for (Client& client : clients)
        threads.emplace_back([&] {
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (closed == 0 && std::chrono::steady_clock::now() < end) {
                client.Send(request);
                const std::string got = client.Receive(answer.size());
                if (got.empty()) {
                    ++closed;
                    return;
                }
                EXPECT_EQ(got, answer);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(closed, 1U);
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                ElementsAre("refused", "a connection is closed: std::bad_alloc"));
    for (int i = 0; i < 2; ++i) { // one in the place of that which was closed
        clients.emplace_back(Maps());
        clients.back().Send(request);
        EXPECT_EQ(clients.back().Receive(answer.size()), answer);
    }
    EXPECT_EQ(m_metrics->GetConnections(0), COUNT + 1);
}
#endif

TEST_F(ServerTest, AsksAServerOnceAboutEachKey) {
    kwlookup::ListSettings settings;
    settings.name = "list";
    settings.sub_address = "+";
    const auto count = [&](const std::string& objects, const std::string& address) {
        settings.objects = objects;
        const ListGeneration list(settings, SERVER_LOG, nullptr);
        const int before = LoadedPlugin("waiting").GetCounts().searched;
        kwlookup::Reply reply;
        list.Ask(address, false, reply);
        EXPECT_EQ(reply.outcome, kwlookup::Outcome::NotFound);
        return LoadedPlugin("waiting").GetCounts().searched - before;
    };
    EXPECT_EQ(count("waiting:0", "jdoe@corp.lan"), 1);
    EXPECT_EQ(count("waiting:0", "jdoe+tag@corp.lan"), 2);
    EXPECT_EQ(count("waiting:0, waiting:0", "jdoe+tag@corp.lan"), 4);
    // The address, jdoe@corp.lan, corp.lan, @corp.lan, .lan, jdoe+tag@ and jdoe@.
    EXPECT_EQ(count("waiting:0 $s", "jdoe+tag@corp.lan"), 7);
    // Both forms, the three of the domain, and "jdoe"@.
    EXPECT_EQ(count("waiting:0 $s", "\"jdoe\"@corp.lan"), 6);
}

TEST_F(ServerTest, AnswersInTime) {
    m_settings.answer_time = milliseconds(100);
    Start();
    Client client(Maps());
    client.Send(Net("fast jdoe@corp.lan") + Net("stuck slow@corp.lan") + Net("fast jdoe@corp.lan"));
    EXPECT_EQ(client.Receive(9), "6:OK yes,");
    EXPECT_EQ(client.Receive(27), "14:TEMP timed out,6:OK yes,");
    // The connection goes on, and the late answer is not given to another request.
    for (int i = 0; i < 15; ++i) {
        client.Send(Net("none x") + Net("stuck slow@corp.lan") + Net("fast none@corp.lan"));
        EXPECT_EQ(client.Receive(37 + 18 + 12),
                  Net("TEMP the list has not been loaded") + "14:TEMP timed out,9:NOTFOUND ,");
    }
    EXPECT_THAT(
        RecordingLog::Texts(WARN),
        testing::Contains("list list: the question for [slow@corp.lan] timed out").Times(1));
}

TEST_F(ServerTest, RefusesWhatIsTooMuchForTheWorkers) {
    m_settings.workers = 1;
    m_settings.max_in_flight = 5000;
    m_settings.answer_time = milliseconds(100);
    Start();
    Client client(Maps());
    std::string requests;
    for (int i = 0; i < 3000; ++i)
        requests += Net("stuck slow@corp.lan");
    client.Send(requests);
    client.End();
    const std::string answers = client.ReceiveAll();
    EXPECT_THAT(answers, HasSubstr(Net("TEMP too many requests are waiting")));
    EXPECT_THAT(answers, HasSubstr(Net("TEMP timed out")));
    EXPECT_EQ(std::count(answers.begin(), answers.end(), ','), 3000);
    const auto contains_once = [](const std::string& end) {
        return testing::Contains("list list: the question for [slow@corp.lan] " + end).Times(1);
    };
    EXPECT_THAT(RecordingLog::Texts(WARN), contains_once("timed out"));
    EXPECT_THAT(RecordingLog::Texts(WARN),
                contains_once("was refused, because too many requests are waiting"));
    EXPECT_TRUE(Becomes([&] {
        return testing::Matches(contains_once("was dropped, because no worker was free in time"))(
            RecordingLog::Texts(WARN));
    }));
}

TEST_F(ServerTest, StopsReadingWhileAClientDoesNotTakeAnswers) {
    Start();
    Client client(Maps());
    std::string requests = Net("fast big@corp.lan"), answers = Net("OK " + std::string(60000, 'b'));
    for (int i = 0; i < 1000; ++i) {
        requests += Net("fast jdoe@corp.lan");
        answers += "6:OK yes,";
    }
    constexpr int ROUNDS = 100; // of 24 KB; the system keeps 200 KB for a socket
    std::atomic<int> sent{0};
    std::thread sender([&] {
        for (; sent < ROUNDS; ++sent)
            client.Send(requests);
    });
    int before = -1;
    EXPECT_TRUE(Becomes([&] {
        std::this_thread::sleep_for(milliseconds(200));
        return std::exchange(before, sent.load()) == sent;
    }));
    EXPECT_LT(sent, ROUNDS);
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), "6:OK yes,"); // others are served
    for (int i = 0; i < ROUNDS; ++i)
        EXPECT_TRUE(client.Receive(answers.size()) == answers) << i;
    sender.join();
}

TEST_F(ServerTest, SurvivesConnectionsCutAfterEachByte) {
    Start();
    const std::string requests = Net("fast jdoe@corp.lan") + Net("slow slow@corp.lan");
    const std::string answers = "6:OK yes," + Net("OK waited");
    for (std::size_t i = 0; i <= requests.size(); ++i) {
        Client closed(Maps());
        closed.Send(std::string_view(requests).substr(0, i));
        Client reset(m_server->GetAddresses(0).at(0));
        reset.Send(std::string_view(requests).substr(0, i));
        const linger now{1, 0};
        ::setsockopt(reset.GetSocket(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        Client ended(Maps());
        ended.Send(std::string_view(requests).substr(0, i));
        ended.End();
        const std::string expected = i == requests.size() ? answers
                                     : i >= 22            ? answers.substr(0, 9)
                                                          : std::string();
        EXPECT_EQ(ended.ReceiveAll(), expected) << i;
    }
    for (std::size_t i = 0; i < answers.size(); ++i) {
        Client client(Maps());
        client.Send(requests);
        EXPECT_EQ(client.Receive(i), answers.substr(0, i));
    }
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), "6:OK yes,");
}

TEST_F(ServerTest, LetsClientsWaitWhileItHasTooManyConnections) {
    m_settings.max_connections = 3;
    Start();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(std::make_unique<Client>(Maps()));
        clients.back()->Send(Net("fast jdoe@corp.lan"));
    }
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(clients[static_cast<std::size_t>(i)]->Receive(9), "6:OK yes,");
    EXPECT_FALSE(clients[3]->HasInput(100));
    Client other(m_server->GetAddresses(1).at(0)); // of another door
    other.Send("get jdoe@corp.lan\n");
    EXPECT_EQ(other.Receive(8), "200 yes\n");
    for (std::size_t i = 0; i < 3; ++i) {
        clients[i].reset();
        EXPECT_EQ(clients[i + 3]->Receive(9), "6:OK yes,");
    }
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::Contains("door maps has 3 connections; more clients must wait"));
}

TEST_F(ServerTest, GoesOnAfterDescriptorsRanOut) {
    m_settings.io_threads = 1; // UBSan: with two, connections may move meanwhile. See below.
    Start();
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), "6:OK yes,");
    Client waiting(Maps()); // has its descriptor already
    waiting.Send(Net("fast jdoe@corp.lan"));
    EXPECT_EQ(waiting.Receive(9), "6:OK yes,");
    // UBSan needs a pipe when it first sees the type of an object. Let it see those of timers now.
    std::promise<void> seen;
    boost::asio::steady_timer timer(m_server->GetMainContext(), std::chrono::seconds(0));
    timer.async_wait([&](const boost::system::error_code&) { seen.set_value(); });
    seen.get_future().wait();
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    rlimit low = old;
    low.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    std::vector<kwlookup::FileDescriptor> held;
    for (int fd = 0; (fd = ::dup(0)) >= 0;)
        held.emplace_back(fd);
    held.pop_back();
    Client client(Maps()); // takes the last one
    client.Send(Net("fast jdoe@corp.lan"));
    EXPECT_TRUE(Becomes([] { return !RecordingLog::Texts(WARN).empty(); }));
    waiting.Send(Net("fast none@corp.lan")); // is still served
    EXPECT_EQ(waiting.Receive(12), "9:NOTFOUND ,");
    std::this_thread::sleep_for(milliseconds(1500)); // it has tried several times, and is quiet
    held.clear();
    EXPECT_EQ(client.Receive(9), "6:OK yes,");
    ::setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_THAT(RecordingLog::Texts(WARN),
                ElementsAre("door maps: cannot accept connections: Too many open files"));
}

// With a client that has vanished, nothing but the system notices.
TEST_F(ServerTest, LetsTheSystemProbeIdleClients) {
    Start();
    Client client(m_server->GetAddresses(0).at(0));
    client.Send(Net("fast jdoe@corp.lan"));
    EXPECT_EQ(client.Receive(9), "6:OK yes,");
    const auto get_name = [](auto function, int fd) {
        sockaddr_in name{};
        socklen_t size = sizeof name;
        function(fd, reinterpret_cast<sockaddr*>(&name), &size);
        return std::pair(name.sin_addr.s_addr, name.sin_port);
    };
    int found = 0;
    for (int fd = 0; fd < 1024; ++fd) { // the server's end is in this process, too
        if (get_name(::getpeername, fd) != get_name(::getsockname, client.GetSocket()))
            continue;
        ++found;
        int on = 0;
        socklen_t size = sizeof on;
        ::getsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, &size);
        EXPECT_NE(on, 0);
    }
    EXPECT_EQ(found, 1);
}

TEST_F(ServerTest, GoesOnAfterMemoryRanOut) {
    m_settings.io_threads = 1;
    m_settings.max_connections = 3;
    Start();
    const std::string requests =
        Net("fast jdoe@corp.lan") + Net("slow slow@corp.lan") + Net("fast none@corp.lan");
    const std::string fault = "[0-9]+:TEMP [a-z ]+,";
    const std::string answers =
        "((6:OK yes,|" + fault + ")((9:OK waited,|" + fault + ")(9:NOTFOUND ,|" + fault + ")?)?)?";
    std::optional<FailingAllocation> failing;
    const auto fail_in_loop = [&](int after) {
        m_door->SetHook([&, after] { failing.emplace(after); });
    };
    const auto fail_in_main = [&](int after) {
        m_door->SetHook({});
        std::promise<void> done;
        boost::asio::steady_timer timer(m_server->GetMainContext(), std::chrono::seconds(0));
        timer.async_wait([&](const boost::system::error_code&) {
            failing.emplace(after);
            done.set_value();
        });
        done.get_future().wait();
    };
    // As many allocations as each thread makes for what the clients ask here.
    for (const auto& [fail, most] : std::initializer_list<std::pair<std::function<void(int)>, int>>{
             {fail_in_loop, 40}, {fail_in_main, 20}})
        for (int after = 0; after < most; ++after) {
            fail(after);
            std::deque<Client> clients;
            for (int i = 0; i < 3; ++i) {
                clients.emplace_back(Maps());
                clients.back().Send(requests);
                clients.back().End();
            }
            for (Client& client : clients) // each gets its answers, or the end
                EXPECT_THAT(client.ReceiveAll(), testing::MatchesRegex(answers)) << after;
        }
}

TEST_F(ServerTest, ClosesIdleConnectionsIfToldTo) {
    m_settings.idle_time = std::chrono::seconds(1);
    Start();
    Client client(Maps());
    EXPECT_EQ(client.ReceiveAll(), "");
}

TEST_F(ServerTest, SwapsListsWithoutAWrongAnswer) {
    Start();
    // The second list is asked by workers.
    const std::string lists[] = {"", "waiting:1, "};
    const auto swap = [&](int round, const std::function<void()>& done) {
        for (std::size_t i = 0; i < 2; ++i)
            m_server->SetList(
                i, MakeList(lists[i] + "jdoe@corp.lan " + (round % 2 == 0 ? "old" : "new")), done);
    };
    std::atomic<int> done{0};
    swap(0, [&] { ++done; });
    EXPECT_TRUE(Becomes([&] { return done == 2; }));
    std::atomic<bool> stop{false}, wrong{false};
    std::atomic<int> seen[2][2] = {}; // of each list, old and new ones
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i)
        clients.emplace_back([&] {
            Client client(Maps());
            while (!stop && !wrong) {
                client.Send(Net("fast jdoe@corp.lan") + Net("slow jdoe@corp.lan"));
                for (auto& list : seen) {
                    const std::string answer = client.Receive(9);
                    if (answer == "6:OK old,")
                        ++list[0];
                    else if (answer == "6:OK new,")
                        ++list[1];
                    else
                        wrong = true;
                }
            }
        });
    const auto seen_all = [&] { return seen[0][0] && seen[0][1] && seen[1][0] && seen[1][1]; };
    int rounds = 1;
    for (; rounds < 50 || (rounds < 5000 && !seen_all()); ++rounds) {
        std::this_thread::sleep_for(milliseconds(5));
        swap(rounds, [&] { ++done; });
    }
    EXPECT_TRUE(seen_all());
    EXPECT_TRUE(Becomes([&] { return done == 2 * rounds; }));
    const std::string answer = rounds % 2 == 0 ? "6:OK new," : "6:OK old,";
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), answer);
    EXPECT_EQ(Ask("slow jdoe@corp.lan"), answer);
    stop = true;
    for (std::thread& client : clients)
        client.join();
    EXPECT_FALSE(wrong);
    const auto last = MakeList("jdoe@corp.lan yes");
    m_server->SetList(0, last);
    m_server->SetList(0, nullptr, [&] { ++done; });
    EXPECT_TRUE(Becomes([&] { return done == 2 * rounds + 1; }));
    EXPECT_EQ(last.use_count(), 1); // the loops have let go of it
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), Net("TEMP the list has not been loaded"));
}

TEST_F(ServerTest, CountsAnswersAndConnections) {
    m_socketmap.settings["allowuser"] = "nobody";
    Start();
    Client client(m_server->GetAddresses(0).at(0));
    client.Send(Net("fast jdoe@corp.lan") + Net("fast x") + Net("slow slow@corp.lan") +
                Net("none x") + Net("unknown x"));
    client.Receive(9 + 12 + 12 + 37 + 21);
    EXPECT_TRUE(Becomes([&] { return m_metrics->GetDoorCounts(0).unavailable == 1; }));
    EXPECT_EQ(m_metrics->GetDoorCounts(0).found, 2U);
    EXPECT_EQ(m_metrics->GetDoorCounts(0).not_found, 1U);
    EXPECT_EQ(m_metrics->GetListCounts(1).found, 1U);
    EXPECT_EQ(m_metrics->GetListCounts(3).unavailable, 1U);
    EXPECT_EQ(m_metrics->GetFault(3).reason, "the list has not been loaded");
    EXPECT_EQ(m_metrics->GetConnections(0), 1U);
    client.End();
    EXPECT_TRUE(Becomes([&] { return m_metrics->GetConnections(0) == 0; }));
    EXPECT_EQ(Client(Maps()).ReceiveAll(), ""); // this user may not ask
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::Contains("door maps: refused a client that may not ask"));
}

TEST_F(ServerTest, TellsSystemdItsState) {
    const kwlookup::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    m_dir.Path("notify").copy(name.sun_path, sizeof name.sun_path - 1);
    ASSERT_EQ(::bind(socket.Get(), reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
    ::setenv("NOTIFY_SOCKET", name.sun_path, 1);
    ::setenv("WATCHDOG_USEC", "100000", 1);
    const auto receive = [&] {
        char text[1000];
        const ssize_t size = ::recv(socket.Get(), text, sizeof text, 0);
        return std::string(text, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    };
    Start();
    std::vector<std::string> states{receive(), receive(), receive(), receive()};
    EXPECT_THAT(states, testing::Contains("READY=1\nSTATUS=Serving 2 doors"));
    EXPECT_THAT(states, testing::Contains("WATCHDOG=1").Times(3));
    Stop();
    std::string state;
    while ((state = receive()) == "WATCHDOG=1") {
    }
    EXPECT_EQ(state, "STOPPING=1");
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
}

TEST_F(ServerTest, AnswersWhatHasArrivedBeforeItStops) {
    Start();
    Client idle(Maps());
    auto client = std::make_unique<Client>(Maps());
    client->Send(Net("fast jdoe@corp.lan"));
    EXPECT_EQ(client->Receive(9), "6:OK yes,");
    client->Send(Net("slow slow@corp.lan"));
    std::thread stopping([this] { Stop(); });
    EXPECT_EQ(client->ReceiveAll(), "9:OK waited,");
    client.reset(); // a server that stops waits for it a while
    EXPECT_EQ(idle.ReceiveAll(), "");
    stopping.join();
    EXPECT_THROW(Client("unix:" + m_dir.Path("maps")), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(m_dir.Path("maps")));
}

// Threads give each other connections meanwhile.
TEST_F(ServerTest, LosesNothingWhenItStopsUnderLoad) {
    const std::string big = Net("fast big@corp.lan"), small = Net("fast jdoe@corp.lan"),
                      big_answer = Net("OK " + std::string(60000, 'b')), small_answer = "6:OK yes,";
    constexpr int COUNT = 8, LAST = 100; // small answers fit into the system's buffers
    for (int round = 0; round < 10; ++round) {
        Start();
        std::atomic<bool> stopping{false};
        std::atomic<int> ready{0};
        // Connections that come meanwhile make the server's threads late.
        m_door->SetHook([] { std::this_thread::sleep_for(milliseconds(10)); });
        std::vector<std::thread> threads;
        threads.emplace_back([address = Maps()] {
            try {
                for (;; std::this_thread::sleep_for(milliseconds(12)))
                    Client late(address);
            } catch (const std::runtime_error&) { // the server has stopped
            }
        });
        for (int i = 0; i < COUNT; ++i)
            threads.emplace_back([&, i, client = Client(Maps())]() mutable {
                const bool is_last_counted = i % 2 == 0;
                std::string got = "-";
                while (!(is_last_counted && stopping) && !got.empty()) {
                    for (int j = 0; j < 10; ++j)
                        client.Send(big);
                    for (int j = 0; j < 10 && !got.empty(); ++j) {
                        got = client.Receive(big_answer.size());
                        EXPECT_TRUE(got.empty() || got == big_answer) << got.size();
                    }
                }
                if (!is_last_counted)
                    return;
                EXPECT_FALSE(got.empty());
                for (int j = 0; j < LAST; ++j)
                    EXPECT_TRUE(client.Send(small));
                ++ready;
                for (int j = 0; j < LAST; ++j)
                    EXPECT_EQ(client.Receive(small_answer.size()), small_answer);
                EXPECT_EQ(client.ReceiveAll(), "");
            });
        std::this_thread::sleep_for(milliseconds(20 + 7 * round));
        stopping = true;
        EXPECT_TRUE(Becomes([&] { return ready == COUNT / 2; }));
        Stop();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(m_metrics->GetConnections(0), 0U);
    }
}

TEST_F(ServerTest, HoldsIdleConnectionsInLittleMemory) {
    constexpr std::size_t COUNT = 10000, MORE = 200; // descriptors for other things
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_max = std::max<rlim_t>(limit.rlim_max, COUNT + MORE); // root may raise it
    limit.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0)
        GTEST_SKIP() << "only root can raise the limit of descriptors to " << COUNT + MORE;
    // The clients are another process, which needs as many descriptors.
    int sockets[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
    kwlookup::FileDescriptor own(sockets[0]), child_end(sockets[1]);
    const pid_t pid = ::fork(); // while there are no threads
    if (pid == 0) {
        own = kwlookup::FileDescriptor();
        char answered = 'n';
        std::vector<Client> clients;
        try {
            static_cast<void>(!::read(child_end.Get(), &answered, 1)); // the server listens
            for (std::size_t i = 0; i < COUNT; ++i) {
                clients.emplace_back("unix:" + m_dir.Path("maps"));
                clients.back().Send(Net("fast jdoe@corp.lan"));
            }
            answered = 'y';
            for (Client& client : clients)
                if (client.Receive(9) != "6:OK yes,")
                    answered = 'n';
        } catch (const std::exception&) {
            answered = 'n';
        }
        static_cast<void>(!::write(child_end.Get(), &answered, 1));
        static_cast<void>(!::read(child_end.Get(), &answered, 1)); // until the test has ended
        ::_exit(0);
    }
    ASSERT_GT(pid, 0);
    child_end = kwlookup::FileDescriptor();
    m_settings.max_connections = COUNT + 1;
    Start();
    const auto resident = [] {
        std::ifstream file("/proc/self/statm");
        std::size_t pages = 0;
        file >> pages >> pages;
        return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    };
    const std::size_t before = resident();
    char answered = 'n';
    ASSERT_EQ(::write(own.Get(), "", 1), 1);
    ASSERT_EQ(::read(own.Get(), &answered, 1), 1);
    EXPECT_EQ(answered, 'y');
    EXPECT_EQ(m_metrics->GetConnections(0), COUNT);
#if !defined(KWLOOKUP_UNDER_ASAN) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT((resident() - before) / COUNT, 8192U);
#else
    static_cast<void>(before);
#endif
    EXPECT_EQ(Ask("fast jdoe@corp.lan"), "6:OK yes,");
    own = kwlookup::FileDescriptor();
    ::waitpid(pid, nullptr, 0);
    EXPECT_TRUE(Becomes([&] { return m_metrics->GetConnections(0) == 0; }));
}
