// SPDX-License-Identifier: MIT
// Many clients, bad clients and a daemon that is killed. With KWLOOKUP_LONG_TESTS in the
// environment each test runs for minutes.
#include "kwlookupd/Client.h"
#include "kwlookupd/Daemon.h"
#include "kwlookupd/IsLongTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using FaultClock = std::chrono::steady_clock;

/// A whole request and its answer.
struct Exchange {
    std::string door;
    std::string request;
    std::string answer; ///< for HTTP its beginning
};

/// The length of a packet of the milter protocol.
std::string Length(std::uint32_t size) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(size >> shift & 0xff);
    return bytes;
}

std::string Packet(const std::string& data) {
    return Length(static_cast<std::uint32_t>(data.size())) + data;
}

const std::string HELLO = Packet(std::string("O\0\0\0\6\0\0\1\xff\0\x1f\xff\xff", 13));

class DaemonFaults : public testing::Test {
protected:
    DaemonFaults() {
        for (int i = 0; i < 1000; ++i)
            m_hosts += "host" + std::to_string(i) + ".lan REJECT " + std::to_string(i) + "\n";
        m_dir.Write("hosts", m_hosts + "both.lan REJECT 1\n");
    }

    /// The daemon answers from the list "hosts" at once. The list "slow" has the same records, and
    /// is asked by workers. Each has a door for each protocol.
    static std::string Config() {
        std::string config = "Types = waiting\n"
                             "[list hosts]\nObjects = file:@/hosts\nSettle = 1 h\n"
                             "[list slow]\nObjects = waiting:5, file:@/hosts\nSettle = 1 h\n";
        for (const std::string list : {"hosts", "slow"})
            for (const std::string protocol :
                 {"socketmap", "tcp", "policy", "milter", "dict", "http"}) {
                const std::string name = Door(list, protocol);
                config +=
                    "[door " + name + "]\nProtocol = " + protocol + "\nAddress = unix:@/" + name +
                    "\n" +
                    (protocol == "policy" || protocol == "milter" ? "Ask = sender:" : "Lists = ") +
                    list + "\n";
            }
        return config;
    }

    static std::string Door(const std::string& list, const std::string& protocol) {
        return list == "hosts" ? protocol : list + '-' + protocol;
    }

    std::string Address(const std::string& door) const { return "unix:" + m_dir.Path(door); }

    /// Requests of each door about `host`, and the answers when its result is `result`; none if
    /// that is empty.
    static std::vector<Exchange> Exchanges(const std::string& host, const std::string& result) {
        const auto net = [](const std::string& text) {
            return std::to_string(text.size()) + ":" + text + ",";
        };
        const bool found = !result.empty();
        const std::string text = "REJECT " + result;
        std::string encoded = text;
        encoded.replace(6, 1, "%20");
        const std::string refusal = "y550 5.7.1 " + result;
        std::vector<Exchange> exchanges;
        for (const std::string list : {"hosts", "slow"}) {
            const Exchange each[] = {
                {"socketmap", net(list + ' ' + host), net(found ? "OK " + text : "NOTFOUND ")},
                {"tcp", "get " + host + "\n",
                 found ? "200 " + encoded + "\n" : "500 not%20found\n"},
                {"policy",
                 "request=smtpd_access_policy\nprotocol_state=RCPT\nsender=a@" + host + "\n\n",
                 "action=" + (found ? text : "DUNNO") + "\n\n"},
                {"milter", HELLO + Packet("M<a@" + host + ">" + '\0'),
                 found ? Packet(refusal + '\0') : Packet("c")},
                {"dict", "H3\t2\t0\t\t" + list + "\nLshared/" + host + "\tbob\n",
                 found ? "O" + text + "\n" : "N\n"},
                {"http",
                 "GET /" + list + "?text=" + host +
                     " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n",
                 found ? "HTTP/1.1 200 " : "HTTP/1.1 404 "},
            };
            for (const Exchange& exchange : each) {
                exchanges.push_back(exchange);
                exchanges.back().door = Door(list, exchange.door);
            }
        }
        return exchanges;
    }

    /// Reads the answer to `exchange`. Empty if the connection ends before.
    static std::string ReceiveAnswer(Client& client, const Exchange& exchange) {
        if (exchange.request.rfind(HELLO, 0) == 0)
            client.Receive(HELLO.size()); // the answer to it is as long
        const std::string answer = client.Receive(exchange.answer.size());
        return answer.size() == exchange.answer.size() ? answer : std::string();
    }

    void Note(const std::string& fault) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_faults.size() < 10)
            m_faults.push_back(fault);
    }

    const TempDir m_dir;
    std::string m_hosts;
    std::mutex m_lock;
    std::vector<std::string> m_faults;
};

/// Waits until `holds`, for at most a minute.
template <typename Condition>
bool ComesTrue(const Condition& holds) {
    const auto end = FaultClock::now() + seconds(60);
    while (!holds()) {
        if (FaultClock::now() > end)
            return false;
        std::this_thread::sleep_for(milliseconds(5));
    }
    return true;
}

TEST_F(DaemonFaults, KilledUnderLoadItGivesNoWrongAnswer) {
    Daemon daemon(m_dir, Config());
    std::atomic<bool> end{false};
    std::atomic<unsigned> answers{0};
    std::vector<std::thread> clients;
    for (unsigned i = 0; i < 4; ++i)
        clients.emplace_back([&, i] {
            std::mt19937 random(i);
            while (!end) {
                try {
                    const unsigned host = random() % 2000; // a half of them is listed
                    const auto exchanges =
                        Exchanges("host" + std::to_string(host) + ".lan",
                                  host < 1000 ? std::to_string(host) : std::string());
                    const Exchange& exchange = exchanges[random() % exchanges.size()];
                    Client client(Address(exchange.door));
                    client.Send(exchange.request);
                    const std::string answer = ReceiveAnswer(client, exchange);
                    if (!answer.empty() && answer != exchange.answer)
                        Note(exchange.request + answer);
                    answers += !answer.empty();
                } catch (const std::runtime_error&) { // nobody listens now
                    std::this_thread::sleep_for(milliseconds(1));
                }
            }
        });
#if defined(KWLOOKUP_UNDER_ASAN) || defined(__SANITIZE_THREAD__)
    const int rounds = 5; // it starts slowly
#else
    const int rounds = IsLongTest() ? 1000 : 20;
#endif
    int started = 0;
    for (int i = 0; i < rounds; ++i) {
        const unsigned before = answers;
        if (!ComesTrue([&] { return answers > before + 20; }))
            break;
        daemon.Kill();
        try {
            daemon.Start();
        } catch (const std::runtime_error& error) {
            Note(error.what());
            break;
        }
        ++started;
    }
    end = true;
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(started, rounds);
    EXPECT_THAT(m_faults, testing::IsEmpty());
    EXPECT_EQ(daemon.Stop(), 0);
}

TEST_F(DaemonFaults, SlowClientsGetTheirAnswersAndDelayNobody) {
    const milliseconds pause(IsLongTest() ? 1000 : 10);
    const Daemon daemon(m_dir, Config());
    struct SlowClient {
        Exchange exchange;
        std::unique_ptr<Client> client;
    };
    std::vector<SlowClient> slow;
    std::size_t longest = 0;
    for (int i = 0; i < 20; ++i)
        for (const Exchange& exchange : Exchanges("host7.lan", "7")) {
            slow.push_back({exchange, std::make_unique<Client>(Address(exchange.door))});
            longest = std::max(longest, exchange.request.size());
        }
    Client fast(Address("socketmap"));
    for (std::size_t at = 0; at < longest; ++at) {
        for (const SlowClient& each : slow)
            if (at < each.exchange.request.size()) {
                EXPECT_TRUE(each.client->Send({&each.exchange.request[at], 1}));
            }
        for (const Exchange& exchange : Exchanges("host8.lan", "8")) {
            if (exchange.door != "socketmap")
                continue;
            fast.Send(exchange.request);
            EXPECT_EQ(ReceiveAnswer(fast, exchange), exchange.answer);
        }
        std::this_thread::sleep_for(pause);
    }
    for (const SlowClient& each : slow)
        EXPECT_EQ(ReceiveAnswer(*each.client, each.exchange), each.exchange.answer)
            << each.exchange.door;
}

TEST_F(DaemonFaults, BadClientsHarmNobody) {
    Daemon daemon(m_dir, Config());
    const std::string big(IsLongTest() ? 8000000 : 1000000, '7');
    std::mt19937 random(1);
    std::string garbage(big.size(), '\0');
    std::generate(garbage.begin(), garbage.end(), [&] { return static_cast<char>(random()); });
    const std::string requests[] = {"4294967295:hosts " + big,
                                    "4294967296:",
                                    "18446744073709551617:hosts a.lan,",
                                    "-1:hosts a.lan,",
                                    big,
                                    std::string("\xff\xff\xff\xff") + "M" + big,
                                    std::string(100, '\0'),
                                    "get " + big,
                                    "GET /" + big,
                                    garbage,
                                    "\n\n\n\n",
                                    "a"};
    std::vector<std::thread> senders;
    for (const Exchange& exchange : Exchanges("both.lan", "1"))
        for (const std::string& request : requests)
            senders.emplace_back([&request, address = Address(exchange.door)] {
                Client client(address);
                client.Send(request); // fails if the daemon has closed
                client.End();
                client.ReceiveAll();
            });
    std::vector<std::unique_ptr<Client>> silent;
    for (int i = 0; i < 100; ++i)
        silent.push_back(std::make_unique<Client>(Address("socketmap")));
    for (std::thread& sender : senders)
        sender.join();
    for (const Exchange& exchange : Exchanges("both.lan", "1")) {
        Client client(Address(exchange.door));
        client.Send(exchange.request);
        EXPECT_EQ(ReceiveAnswer(client, exchange), exchange.answer) << exchange.door;
    }
    for (const auto& client : silent) {
        client->Send("14:hosts both.lan,");
        EXPECT_EQ(client->Receive(15), "11:OK REJECT 1,");
    }
    EXPECT_EQ(daemon.Stop(), 0);
}

// Mail servers never send such packets, and their tools crash before.
TEST_F(DaemonFaults, MilterPacketsAreLimitedToTheirExactByte) {
    constexpr std::size_t LONGEST = 65536;
    const Daemon daemon(m_dir, Config());
    const auto sender = [](std::size_t size) {
        const std::string end = std::string("@both.lan>") + '\0';
        return "M<" + std::string(size - 2 - end.size(), 'x') + end;
    };
    const std::string refusal = Packet(std::string("y550 5.7.1 1") + '\0');
    for (const std::string door : {"milter", "slow-milter"}) {
        SCOPED_TRACE(door);
        Client client(Address(door));
        client.Send(HELLO + Packet(sender(LONGEST)) + Packet(sender(LONGEST - 1)));
        client.Receive(HELLO.size());
        EXPECT_EQ(client.Receive(2 * refusal.size()), refusal + refusal);
        const std::string refused[] = {Packet(sender(LONGEST + 1)), Length(0) + "M",
                                       Length(0xffffffff) + sender(100)};
        for (const std::string& packet : refused) {
            Client other(Address(door));
            other.Send(HELLO + Packet(sender(100)) + packet + Packet(sender(100)));
            other.Receive(HELLO.size());
            EXPECT_EQ(other.ReceiveAll(), refusal) << packet.size(); // and the end
        }
        // Nothing is kept of a body, so it may be as long as its length can say.
        Client body(Address(door));
        body.Send(HELLO + Length(0xffffffff) + "B" + std::string(1000000, 'b'));
        body.Receive(HELLO.size());
        EXPECT_FALSE(body.HasInput(100));
        client.Send(Packet(std::string("M<a@none.lan>") + '\0'));
        EXPECT_EQ(client.Receive(5), Packet("c"));
    }
}

/// The resident memory of a process in bytes.
std::size_t ResidentMemory(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
    std::size_t pages = 0;
    file >> pages >> pages;
    return pages * 4096;
}

long OpenDescriptors(pid_t pid) {
    const std::filesystem::directory_iterator files("/proc/" + std::to_string(pid) + "/fd");
    return std::distance(begin(files), end(files));
}

TEST_F(DaemonFaults, SurvivesConnectionsCutAfterEachByte) {
#if defined(KWLOOKUP_UNDER_ASAN) || defined(__SANITIZE_THREAD__)
    constexpr std::size_t STEP = 7;
#else
    constexpr std::size_t STEP = 1;
#endif
    std::string config = Config();
    std::map<std::string, std::string> tcp; // a UNIX socket cannot be reset
    for (const Exchange& exchange : Exchanges("both.lan", "1")) {
        tcp[exchange.door] = "127.0.0.1:" + std::to_string(UnusedPort());
        const std::string address = "Address = unix:@/" + exchange.door;
        config.replace(config.find(address + '\n'), address.size(),
                       address + ", " + tcp[exchange.door]);
    }
    Daemon daemon(m_dir, config);
    const long descriptors = OpenDescriptors(daemon.GetPid());
    for (const Exchange& exchange : Exchanges("both.lan", "1")) {
        const std::string_view request = exchange.request;
        for (std::size_t i = 0; i < request.size(); i += STEP) {
            Client(Address(exchange.door)).Send(request.substr(0, i));
            Client reset(tcp[exchange.door]);
            reset.Send(request.substr(0, i));
            const linger now{1, 0};
            ::setsockopt(reset.GetSocket(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
            Client ended(Address(exchange.door));
            ended.Send(request.substr(0, i));
            ended.End();
            // Only a last line of this protocol needs no line end.
            const bool complete = exchange.request.rfind("get ", 0) == 0 && i + 1 == request.size();
            EXPECT_EQ(ended.ReceiveAll().find(exchange.answer) != std::string::npos, complete)
                << exchange.door << " after " << i << " bytes";
        }
        Client whole(Address(exchange.door));
        whole.Send(request);
        whole.End();
        const std::string answer = whole.ReceiveAll();
        EXPECT_NE(answer.find(exchange.answer), std::string::npos) << exchange.door;
        for (std::size_t i = 0; i < answer.size(); i += STEP) {
            Client client(Address(exchange.door));
            client.Send(request);
            client.Receive(i);
        }
    }
    for (const Exchange& exchange : Exchanges("both.lan", "1")) {
        Client client(Address(exchange.door));
        client.Send(exchange.request);
        EXPECT_EQ(ReceiveAnswer(client, exchange), exchange.answer) << exchange.door;
    }
    EXPECT_TRUE(ComesTrue([&] { return OpenDescriptors(daemon.GetPid()) <= descriptors; }))
        << OpenDescriptors(daemon.GetPid()) << " of " << descriptors;
    EXPECT_EQ(daemon.Stop(), 0);
}

TEST_F(DaemonFaults, AnswersInTimeAtEachDoor) {
    // Far longer than any of its clients waits. So the daemon is not stopped, but killed.
    constexpr seconds STUCK(100), LIMIT(50);
    std::string config = Config();
    const std::string item = "waiting:5";
    config.replace(config.find(item), item.size(),
                   "waiting:" + std::to_string(milliseconds(STUCK).count()));
    const Daemon daemon(m_dir, "AnswerTime = 200 ms\n" + config);
    const std::string later = "Cannot look this up now, try again later";
    const std::map<std::string, std::string> answers = {
        {"slow-socketmap", "14:TEMP timed out,"},
        {"slow-tcp", "400 timed%20out\n"},
        {"slow-policy",
         "action=DEFER_IF_PERMIT 4.3.0 cannot look this up now, try again later\n\n"},
        {"slow-milter", Packet("y451 4.3.0 " + later + '\0')},
        {"slow-dict", "Ftimed out\n"},
        {"slow-http", "HTTP/1.1 503 "}};
    std::size_t asked = 0;
    for (Exchange exchange : Exchanges("both.lan", "1")) {
        const auto answer = answers.find(exchange.door);
        if (answer != answers.end()) {
            exchange.answer = answer->second;
            ++asked;
        }
        const auto start = FaultClock::now();
        Client client(Address(exchange.door));
        client.Send(exchange.request);
        EXPECT_EQ(ReceiveAnswer(client, exchange), exchange.answer) << exchange.door;
        EXPECT_LT(FaultClock::now() - start, LIMIT) << exchange.door;
    }
    EXPECT_EQ(asked, answers.size());
}

TEST_F(DaemonFaults, ManyKindsOfClientsLeaveNothingBehind) {
    Daemon daemon(m_dir, Config());
    std::atomic<bool> end{false};
    std::atomic<unsigned> answers{0};
    std::vector<std::thread> clients;
    const long descriptors = OpenDescriptors(daemon.GetPid());
    for (unsigned i = 0; i < 3; ++i)
        clients.emplace_back([&, i] {
            std::mt19937 random(i);
            while (!end) {
                const unsigned host = random() % 2000;
                const auto exchanges =
                    Exchanges("host" + std::to_string(host) + ".lan",
                              host < 1000 ? std::to_string(host) : std::string());
                const Exchange& exchange = exchanges[random() % exchanges.size()];
                Client client(Address(exchange.door));
                const unsigned kind = random() % 4;
                if (kind == 0) { // goes away
                    client.Send(exchange.request.substr(0, random() % exchange.request.size()));
                } else if (kind == 1) { // does not read, or garbage
                    std::string bytes;
                    for (unsigned j = random() % 200; j > 0; --j)
                        bytes += random() % 50 == 0 ? "\xff\n" : exchange.request;
                    client.Send(bytes);
                } else {
                    client.Send(exchange.request);
                    const std::string answer = ReceiveAnswer(client, exchange);
                    if (answer != exchange.answer)
                        Note(exchange.request + answer);
                    ++answers;
                }
                std::this_thread::sleep_for(milliseconds(1)); // leave time to other tests
            }
        });
    const auto pass = [&](milliseconds time) {
        const auto stop = FaultClock::now() + time;
        for (int i = 0; FaultClock::now() < stop; ++i) {
            m_dir.Write("hosts", m_hosts + "both.lan REJECT " + std::to_string(i) + "\n");
            EXPECT_EQ(daemon.Ctl({"reload"}).status, 0);
            EXPECT_EQ(daemon.Ctl({"rollback", "hosts"}).status, 0);
            EXPECT_EQ(daemon.Ctl({"rollback", "slow"}).status, 0);
            std::this_thread::sleep_for(milliseconds(100));
        }
    };
    pass(IsLongTest() ? seconds(60) : seconds(1)); // memory comes to what it needs
    const std::size_t before = ResidentMemory(daemon.GetPid());
    pass(IsLongTest() ? seconds(180) : seconds(1));
    const std::size_t after = ResidentMemory(daemon.GetPid());
    end = true;
    for (std::thread& client : clients)
        client.join();
    EXPECT_THAT(m_faults, testing::IsEmpty());
    EXPECT_GT(answers, 0U);
    if (IsLongTest()) {
        EXPECT_LT(after, before + before / 10 + 2000000);
    }
    EXPECT_TRUE(ComesTrue([&] { return OpenDescriptors(daemon.GetPid()) <= descriptors + 1; }))
        << OpenDescriptors(daemon.GetPid()) << " of " << descriptors;
    EXPECT_EQ(daemon.Stop(), 0);
}

} // namespace
