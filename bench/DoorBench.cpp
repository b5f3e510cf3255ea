// SPDX-License-Identifier: MIT
// Requests a second, and their latency, of a socketmap door with a list of 1,000,000 strings, and
// of a bare server with the same client. Each server is a process with as many threads for
// connections as the daemon has by default.
#include "bench/BareServer.h"
#include "bench/BenchData.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/Server.h"
#include "tools/kwlookupd/status/Metrics.h"

#include <benchmark/benchmark.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

/// The requests of one measurement, for each that is in flight on a connection: about a second.
constexpr std::size_t REQUESTS = 200000;
constexpr std::size_t IDLE_CONNECTIONS = 10000;

std::string SocketPath(const char* server) {
    static const std::string dir = [] {
        std::string name = "/tmp/kwlookup-bench-XXXXXX";
        if (!::mkdtemp(name.data()))
            Fail("cannot make " + name);
        return name;
    }();
    return dir + "/" + server;
}

/// Returns the number of threads for connections.
std::size_t CountThreads() {
    return std::max(1U, std::thread::hardware_concurrency());
}

int Connect(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    for (int i = 0; i < 3000; ++i) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0)
            return fd;
        ::close(fd);
        ::usleep(10000);
    }
    Fail("cannot connect to " + path);
}

/// Serves the list until a signal ends it. SIGHUP loads it again.
void RunDaemon(const std::string& path) {
    kwlookup::DoorConfig door;
    door.name = "bench";
    door.protocol = "socketmap";
    door.addresses = {"unix:" + path};
    door.lists = {{"list", 0}};
    kwlookup::ServerSettings settings;
    settings.max_connections = 2 * IDLE_CONNECTIONS;
    settings.io_threads = CountThreads();
    kwlookup::Metrics metrics({door}, {"list"}, settings.io_threads);
    std::vector<kwlookup::Server::OpenDoor> doors;
    doors.push_back({door, kwlookup::MakeDoor(door)});
    static const LogClass log("bench");
    const auto load = [](const kwlookup::ListGeneration* previous) {
        kwlookup::ListSettings list;
        list.name = "list";
        list.objects = "file:" + DataFile("list");
        return std::make_shared<const kwlookup::ListGeneration>(list, log, previous);
    };
    auto current = load(nullptr);
    kwlookup::Server server(settings, std::move(doors), &metrics);
    server.SetList(0, current);
    boost::asio::signal_set signals(server.GetMainContext(), SIGHUP);
    std::thread reloading;
    std::function<void()> wait = [&] {
        signals.async_wait([&](const boost::system::error_code&, int) {
            if (reloading.joinable())
                reloading.join();
            reloading = std::thread([&] {
                auto next = load(current.get());
                std::swap(current, next);
                server.SetList(0, current, [next] {});
            });
            wait();
        });
    };
    wait();
    server.Run();
}

/// A server in a process of its own, which ends with this one.
class ServerProcess {
public:
    explicit ServerProcess(const std::function<void()>& run) : m_pid(::fork()) {
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            run();
            ::_exit(0);
        }
    }
    pid_t GetPid() const { return m_pid; }
    std::size_t GetResidentBytes() const {
        std::ifstream file("/proc/" + std::to_string(m_pid) + "/statm");
        std::size_t pages = 0;
        file >> pages >> pages;
        return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    }

    /// The processor time that it has used, in microseconds.
    double GetProcessorTime() const {
        std::ifstream file("/proc/" + std::to_string(m_pid) + "/stat");
        std::string field;
        for (int i = 0; i < 13; ++i)
            file >> field;
        double user = 0, system = 0;
        file >> user >> system;
        return (user + system) * 1e6 / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

private:
    const pid_t m_pid;
};

/// Keeps a number of requests in flight on each of some connections.
class LoadClient {
public:
    LoadClient(const std::string& path, std::size_t connections, std::size_t in_flight)
        : m_in_flight(in_flight), m_set(::epoll_create1(EPOLL_CLOEXEC)) {
        const Keys& keys = GetKeys();
        for (const std::string& key : keys.texts) {
            const std::string payload = "list " + key;
            m_requests.push_back(std::to_string(payload.size()) + ":" + payload + ",");
        }
        for (std::size_t i = 0; i < connections; ++i) {
            m_connections.push_back({Connect(path), {}, 0, {}});
            epoll_event event{};
            event.events = EPOLLIN;
            event.data.u64 = i;
            ::epoll_ctl(m_set, EPOLL_CTL_ADD, m_connections[i].fd, &event);
        }
    }
    ~LoadClient() {
        for (const Connection& connection : m_connections)
            ::close(connection.fd);
        ::close(m_set);
    }

    /// Makes requests until `stop` says so; it gets the number of answers.
    template <typename Stop>
    void Run(const Stop& stop) {
        std::size_t open = 0, answers = 0;
        for (Connection& connection : m_connections)
            open += Send(connection, m_in_flight);
        std::array<epoll_event, 128> events;
        std::array<char, 65536> buffer;
        bool stopped = false;
        while (open > 0) {
            const int count = ::epoll_wait(m_set, events.data(), events.size(), 10000);
            if (count <= 0)
                Fail("no answer");
            for (int i = 0; i < count; ++i) {
                Connection& connection =
                    m_connections[events[static_cast<std::size_t>(i)].data.u64];
                const ssize_t size = ::recv(connection.fd, buffer.data(), buffer.size(), 0);
                if (size <= 0)
                    Fail("the server has closed a connection");
                const std::size_t done =
                    Take(connection, {buffer.data(), static_cast<std::size_t>(size)});
                open -= done;
                answers += done;
                stopped = stopped || stop(answers);
                if (!stopped)
                    open += Send(connection, done);
            }
        }
    }

    std::size_t GetWrongCount() const { return m_wrong; }
    double GetP99() {
        const auto place =
            m_latencies.begin() + static_cast<std::ptrdiff_t>(m_latencies.size() * 99 / 100);
        std::nth_element(m_latencies.begin(), place, m_latencies.end());
        return *place;
    }

private:
    struct Connection {
        int fd;
        std::deque<std::pair<std::size_t, Clock::time_point>> open; ///< key and time of requests
        std::size_t got; ///< bytes of an unfinished answer
        char kind[8];    ///< its first bytes
    };

    static const Keys& GetKeys() {
        static const Keys keys = Keys::Read(false);
        return keys;
    }

    std::size_t Send(Connection& connection, std::size_t count) {
        m_output.clear();
        const auto now = Clock::now();
        for (std::size_t i = 0; i < count; ++i) {
            m_output += m_requests[m_next];
            connection.open.emplace_back(m_next, now);
            m_next = (m_next + 1) % m_requests.size();
        }
        if (count > 0 && ::send(connection.fd, m_output.data(), m_output.size(), 0) !=
                             static_cast<ssize_t>(m_output.size()))
            Fail("cannot send");
        return count;
    }

    /// Counts the answers in `bytes`.
    std::size_t Take(Connection& connection, std::string_view bytes) {
        std::size_t count = 0;
        const auto now = Clock::now();
        for (const char c : bytes) {
            if (connection.got < sizeof connection.kind)
                connection.kind[connection.got] = c;
            ++connection.got;
            if (c != ',')
                continue;
            const auto& [key, sent] = connection.open.front();
            m_latencies.push_back(std::chrono::duration<double, std::micro>(now - sent).count());
            const std::string_view kind(connection.kind, sizeof connection.kind);
            m_wrong +=
                (kind.find(":OK ") != std::string_view::npos) != (GetKeys().in_list[key] != 0);
            connection.open.pop_front();
            connection.got = 0;
            ++count;
        }
        return count;
    }

    const std::size_t m_in_flight;
    const int m_set;
    std::vector<std::string> m_requests;
    std::vector<Connection> m_connections;
    std::vector<double> m_latencies;
    std::string m_output;
    std::size_t m_next = 0;
    std::size_t m_wrong = 0;
};

void MeasureLoad(benchmark::State& state, const std::string& path, const ServerProcess& server,
                 bool checks, std::size_t in_flight) {
    LoadClient client(path, 16, in_flight);
    const std::size_t requests = REQUESTS * in_flight;
    const double before = server.GetProcessorTime();
    for (auto _ : state)
        client.Run([requests](std::size_t answers) { return answers >= requests; });
    state.SetItemsProcessed(static_cast<std::int64_t>(requests));
    state.counters["p99"] = client.GetP99();
    state.counters["processor"] =
        (server.GetProcessorTime() - before) / static_cast<double>(requests);
    if (checks && client.GetWrongCount() > 0)
        state.SkipWithError("wrong answers");
}

/// Lets postmap ask for 100,000 keys, one after the other.
void MeasurePostmap(benchmark::State& state, const std::string& path) {
    static const std::string keys = [] {
        std::string name = SocketPath("keys");
        std::ofstream file(name);
        const std::vector<std::string> all = ReadLines("keys");
        for (std::size_t i = 0; i < 100000; ++i)
            file << all[i] << '\n';
        return name;
    }();
    const std::string command = std::string(std::getenv("KWLOOKUP_BENCH_POSTMAP")) +
                                " -q - socketmap:unix:" + path + ":list < " + keys + " > /dev/null";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("failed");
}

/// The latency for three seconds, in which the list is loaded again if there is a process.
void MeasureReload(benchmark::State& state, const std::string& path,
                   const ServerProcess* reloaded) {
    LoadClient client(path, 16, 1);
    for (auto _ : state) {
        const auto end = Clock::now() + std::chrono::seconds(3);
        if (reloaded)
            ::kill(reloaded->GetPid(), SIGHUP);
        client.Run([end](std::size_t) { return Clock::now() >= end; });
    }
    state.counters["p99"] = client.GetP99();
    if (client.GetWrongCount() > 0)
        state.SkipWithError("wrong answers");
}

/// The memory that an idle connection takes after a request, in bytes.
double MeasureIdle(const std::string& path, const ServerProcess& server) {
    ::close(Connect(path)); // waits until the list is loaded
    const auto before = static_cast<double>(server.GetResidentBytes());
    LoadClient client(path, IDLE_CONNECTIONS, 1);
    client.Run([](std::size_t answers) { return answers >= IDLE_CONNECTIONS; });
    return (static_cast<double>(server.GetResidentBytes()) - before) /
           static_cast<double>(IDLE_CONNECTIONS);
}

} // namespace

int main(int argc, char** argv) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const std::string bare_path = SocketPath("bare"), daemon_path = SocketPath("daemon");
    const ServerProcess bare(
        [&] { RunBareServer(bare_path, "31:OK jdoe.somebody@example.lan.xy,", CountThreads()); });
    const ServerProcess daemon([&] { RunDaemon(daemon_path); });

    const auto add = [](const std::string& name, const auto& measure) {
        benchmark::RegisterBenchmark(name.c_str(), measure)->Iterations(1)->UseRealTime();
    };
    // First, because a server keeps the memory of connections for later ones.
    const double idle = MeasureIdle(daemon_path, daemon);
    add("door_idle/kwlookup", [idle](benchmark::State& state) {
        for (auto _ : state) {
        }
        state.counters["bytes"] = idle;
    });
    for (const std::size_t in_flight : {std::size_t{1}, std::size_t{16}}) {
        const std::string name = "door" + std::to_string(in_flight);
        add(name + "/kwlookup", [&, in_flight](benchmark::State& state) {
            MeasureLoad(state, daemon_path, daemon, true, in_flight);
        });
        add(name + "/bare", [&, in_flight](benchmark::State& state) {
            MeasureLoad(state, bare_path, bare, false, in_flight);
        });
    }
    add("door_reload/kwlookup",
        [&](benchmark::State& state) { MeasureReload(state, daemon_path, &daemon); });
    add("door_reload/quiet",
        [&](benchmark::State& state) { MeasureReload(state, daemon_path, nullptr); });

    if (std::getenv("KWLOOKUP_BENCH_POSTMAP")) {
        add("door_postmap/kwlookup",
            [&](benchmark::State& state) { MeasurePostmap(state, daemon_path); });
        add("door_postmap/bare",
            [&](benchmark::State& state) { MeasurePostmap(state, bare_path); });
    }

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    ::kill(daemon.GetPid(), SIGKILL);
    ::kill(bare.GetPid(), SIGKILL);
    const std::string dir = SocketPath("");
    ::unlink(bare_path.c_str());
    ::unlink(daemon_path.c_str());
    ::unlink(SocketPath("keys").c_str());
    ::rmdir(dir.c_str());
}
