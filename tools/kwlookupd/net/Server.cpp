// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Server.h"

#include "host/LogText.h"
#include "text/SystemError.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/lists/LogFault.h"
#include "tools/kwlookupd/net/AccessRules.h"
#include "tools/kwlookupd/net/EventLoop.h"
#include "tools/kwlookupd/net/Listening.h"
#include "tools/kwlookupd/net/SystemAccounts.h"
#include "tools/kwlookupd/net/Systemd.h"
#include "tools/kwlookupd/net/Workers.h"
#include "tools/kwlookupd/status/LogLimit.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <utility>

namespace kwlookup {

namespace asio = boost::asio;

namespace {

/// How long no connection is accepted after descriptors or memory ran out.
constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};
/// How long clients have to take their last answers when the daemon stops.
constexpr std::chrono::seconds STOP_TIME{3};
/// So many connections are accepted before other events get their turn.
constexpr int MAX_ACCEPTS = 64;

/// A loop that is so busy, in percent, gets no more connections while another is not.
constexpr int BUSY = 70;

/// Each connection needs a descriptor.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

struct Server::State {
    struct OpenListener {
        FileDescriptor socket;
        std::string address; ///< as configured
        asio::posix::stream_descriptor descriptor;
        asio::steady_timer timer;
        bool waits = false;   ///< for a client, or for the timer
        bool is_full = false; ///< waits until a connection of its door is closed

        OpenListener(asio::io_context& context, FileDescriptor listening, std::string its_address)
            : socket(std::move(listening)), address(std::move(its_address)),
              descriptor(context, socket.Get()), timer(context) {}
        ~OpenListener() { descriptor.release(); }
    };
    struct ServedDoor {
        DoorConfig config;
        std::unique_ptr<Door> door;
        AccessRules rules;
        std::vector<std::unique_ptr<OpenListener>> listeners;
        std::atomic<std::size_t> connections{0};
        std::atomic<bool> is_full{false};                 ///< a listener waits
        LogLimit not_accepted, not_served, full, refused; ///< lines about these faults

        explicit ServedDoor(OpenDoor open)
            : config(std::move(open.config)), door(std::move(open.door)), rules(config.settings) {}

        void Warn(LogLimit& limit, const std::string& text) const {
            if (const auto left_out = limit.Count())
                LogText(LogClass("kwlookupd"), log4cxx::Level::LEVEL_WARN,
                        "door " + config.name + text + AndOthers(*left_out));
        }
    };

    const ServerSettings settings;
    asio::io_context context{1};
    std::vector<std::unique_ptr<ServedDoor>> doors;
    std::vector<std::unique_ptr<EventLoop>> loops;
    std::unique_ptr<Workers> workers; ///< destroyed before the loops that wait for it
    asio::steady_timer watchdog{context};
    std::atomic<std::size_t> silent_loops{0};

    explicit State(ServerSettings its_settings) : settings(std::move(its_settings)) {}

    void OpenDoors(std::vector<OpenDoor> open_doors) {
        for (OpenDoor& open : open_doors) {
            const std::string name = open.config.name;
            try {
                doors.push_back(std::make_unique<ServedDoor>(std::move(open)));
                ServedDoor& door = *doors.back();
                for (const std::string& address : door.config.addresses)
                    door.listeners.push_back(std::make_unique<OpenListener>(
                        context, Listen(address, door.config.settings), address));
            } catch (const std::invalid_argument& e) {
                throw std::invalid_argument("door " + name + ": " + e.what());
            } catch (const std::exception& e) {
                throw std::runtime_error("door " + name + ": " + e.what());
            }
        }
    }

    void StartLoops(Metrics* metrics) {
        workers = std::make_unique<Workers>(settings.workers);
        for (std::size_t i = 0; i < settings.io_threads; ++i)
            loops.push_back(std::make_unique<EventLoop>(
                settings, i, metrics, *workers, [this](std::size_t door) { OnClosed(door); }));
        std::vector<EventLoop*> all;
        for (const auto& loop : loops)
            all.push_back(loop.get());
        for (const auto& loop : loops)
            loop->SetLoops(all);
    }

    /// Makes all listeners wait that do not. One that ran out of memory does not.
    void WaitForClients() {
        for (std::size_t door = 0; door < doors.size(); ++door) {
            for (const auto& listener : doors[door]->listeners) {
                if (listener->waits)
                    continue;
                listener->is_full = false;
                Wait(door, *listener);
            }
        }
    }

    void Wait(std::size_t door, OpenListener& listener) {
        listener.descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                                       [this, door, &listener](boost::system::error_code error) {
                                           if (!error)
                                               Accept(door, listener);
                                       });
        listener.waits = true;
    }

    void Accept(std::size_t number, OpenListener& listener) {
        ServedDoor& door = *doors[number];
        listener.waits = false;
        for (int i = 0; i < MAX_ACCEPTS; ++i) {
            if (door.connections >= settings.max_connections && !MayGoOn(door, listener))
                return;
            FileDescriptor socket(::accept(listener.socket.Get(), nullptr, nullptr));
            if (socket) {
                try {
                    HandOut(number, std::move(socket));
                } catch (const std::exception& e) {
                    door.Warn(door.not_served,
                              std::string(": cannot serve a connection: ") + e.what());
                }
            } else if (errno == EAGAIN)
                break;
            else if (errno != EINTR && errno != ECONNABORTED) {
                door.Warn(door.not_accepted,
                          ": cannot accept connections: " + SystemErrorText(errno));
                listener.timer.expires_after(ACCEPT_PAUSE);
                listener.timer.async_wait(
                    [this, number, &listener](boost::system::error_code error) {
                        if (!error)
                            Accept(number, listener);
                    });
                listener.waits = true;
                return;
            }
        }
        Wait(number, listener);
    }

    /// Makes a listener wait for the end of a connection. True if one has just ended.
    bool MayGoOn(ServedDoor& door, OpenListener& listener) {
        listener.is_full = true;
        door.is_full = true;
        if (door.connections >= settings.max_connections) {
            door.Warn(door.full, " has " + std::to_string(settings.max_connections) +
                                     " connections; more clients must wait");
            return false;
        }
        listener.is_full = false;
        return true;
    }

    /// Called in the thread of the connection's loop.
    void OnClosed(std::size_t number) {
        ServedDoor& door = *doors[number];
        --door.connections;
        if (!door.is_full.exchange(false))
            return;
        try {
            asio::post(context, [this, number, &door] {
                for (const auto& listener : door.listeners) {
                    if (std::exchange(listener->is_full, false))
                        Accept(number, *listener);
                }
            });
        } catch (const std::exception&) { // memory has run out; the next one tries again
            door.is_full = true;
        }
    }

    /// Returns the first loop that can take more connections, or else the one that is least busy.
    EventLoop& ChooseLoop() const {
        EventLoop* idlest = nullptr;
        int least = 0;
        for (const auto& loop : loops) {
            const int busy = loop->GetBusy();
            if (busy < BUSY)
                return *loop;
            if (!idlest || busy < least) {
                idlest = loop.get();
                least = busy;
            }
        }
        return *idlest;
    }

    void HandOut(std::size_t number, FileDescriptor socket) {
        ServedDoor& door = *doors[number];
        EventLoop& loop = ChooseLoop();
        if (!door.rules.Allows(socket.Get())) {
            door.Warn(door.refused, ": refused a client that may not ask");
            loop.Post([number, &loop] { loop.CountRefused(number); });
            return;
        }
        ::fcntl(socket.Get(), F_SETFD, FD_CLOEXEC);
        ::fcntl(socket.Get(), F_SETFL, O_NONBLOCK);
        const int on = 1; // a UNIX socket needs neither
        ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        // Without IdleTime, nothing else ends the connection of a machine that has vanished.
        ::setsockopt(socket.Get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
        ++door.connections;
        try {
            const auto shared = std::make_shared<FileDescriptor>(std::move(socket));
            loop.Post([this, number, shared, &loop, &door] {
                std::unique_ptr<Session> session;
                try {
                    session = door.door->NewSession();
                } catch (...) {
                    OnClosed(number);
                    throw;
                }
                loop.Add(std::move(*shared), number, std::move(session));
            });
        } catch (...) {
            OnClosed(number);
            throw;
        }
    }

    /// Feeds the watchdog if all loops have taken a turn since the last time.
    void FeedWatchdog() {
        if (silent_loops == 0) {
            NotifySystemd("WATCHDOG=1");
            silent_loops = loops.size();
            for (const auto& loop : loops)
                loop->Post([this] { --silent_loops; });
        }
        watchdog.expires_after(GetWatchdogTime() / 4);
        watchdog.async_wait([this](boost::system::error_code error) {
            if (!error)
                FeedWatchdog();
        });
    }
};

Server::Server(const ServerSettings& settings, std::vector<OpenDoor> doors, Metrics* metrics)
    : m_state(std::make_unique<State>(settings)) {
    RaiseDescriptorLimit();
    m_state->OpenDoors(std::move(doors));
    if (!settings.user.empty())
        BecomeUser(settings.user);
    m_state->StartLoops(metrics);
}

Server::~Server() {
    for (const auto& door : m_state->doors) {
        for (const auto& listener : door->listeners) {
            if (listener->address.rfind("unix:", 0) == 0)
                RemoveSocketFile(listener->socket.Get());
        }
    }
}

asio::io_context& Server::GetMainContext() {
    return m_state->context;
}

std::vector<std::string> Server::GetAddresses(std::size_t door) const {
    std::vector<std::string> addresses;
    for (const auto& listener : m_state->doors[door]->listeners)
        addresses.push_back(GetAddress(listener->socket.Get()));
    return addresses;
}

void Server::SetList(std::size_t number, std::shared_ptr<const ListGeneration> list,
                     const std::function<void()>& done) {
    // The last thread that has taken the list lets go of this, and so calls `done`.
    const std::shared_ptr<void> last(nullptr, [done](void*) {
        if (done)
            done();
    });
    for (const auto& loop : m_state->loops)
        loop->Post([&its_loop = *loop, number, list, last] { its_loop.SetList(number, list); });
}

void Server::Run(const std::function<void()>& wait) {
    std::vector<std::thread> threads;
    for (const auto& loop : m_state->loops)
        threads.emplace_back([&its_loop = *loop] { its_loop.Run(); });
    NotifySystemd("READY=1\nSTATUS=Serving " + std::to_string(m_state->doors.size()) +
                  (m_state->doors.size() == 1 ? " door" : " doors"));

    const auto work = asio::make_work_guard(m_state->context);
    while (!m_state->context.stopped()) {
        try {
            m_state->WaitForClients();
            if (wait)
                wait();
            if (GetWatchdogTime().count() > 0)
                m_state->FeedWatchdog();
            m_state->context.run();
        } catch (const std::exception& e) { // memory has run out
            LogFault("", e);
            std::this_thread::sleep_for(ACCEPT_PAUSE);
        }
    }

    NotifySystemd("STOPPING=1");
    for (const auto& loop : m_state->loops)
        loop->Post([&its_loop = *loop] { its_loop.Stop(STOP_TIME); });
    for (std::thread& thread : threads)
        thread.join();
}

void Server::Stop() {
    m_state->context.stop();
}

} // namespace kwlookup
