// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/IdleCloser.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/Server.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerSettings.h"
#include "text/Platform.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kwlookup {

/// The connections to one server, at most MaxConnections. A connection is made when it is needed,
/// kept for the next search, and closed when it was idle for IdleTimeout.
///
/// `Connection` has a constructor from (const Server&, const ServerSettings&, Deadline), which
/// connects and logs in. It is used by one thread at a time.
///
/// Threads: any. Held by a std::shared_ptr.
template <typename Connection>
class ServerPool : public IdleCloser::Keeper,
                   public std::enable_shared_from_this<ServerPool<Connection>> {
public:
    /// All connections were in use until the time of the search was over. This is not a failure of
    /// the server.
    class Busy : public ServerFault {
    public:
        Busy() : ServerFault("no connection became free in time") {}
    };

    ServerPool(Server server, std::shared_ptr<const ServerSettings> settings)
        : m_server(std::move(server)), m_settings(std::move(settings)) {
        m_kept.reserve(m_settings->max_connections);
    }

    const Server& GetServer() const { return m_server; }

    /// Call `ask(connection)`. If a kept connection turns out to be dead, call it again with a new
    /// one. A connection is kept if `ask` returns or throws a QuestionFault.
    ///
    /// Throws Busy, and what `ask` and the connection's constructor throw.
    template <typename Ask>
    void Use(Deadline deadline, Ask&& ask) {
        Lease lease(*this, deadline);
        if (lease.connection) {
            try {
                return AskWith(lease, ask);
            } catch (const ServerFault&) {
                if (deadline.IsOver())
                    throw;
                lease.connection.reset();
                CloseKept(); // they are probably dead too
            }
        }
        lease.connection = std::make_unique<Connection>(
            m_server, *m_settings, deadline.Within(m_settings->connect_timeout));
        AskWith(lease, ask);
    }

    /// Call when the server has failed with this reason. Closes kept connections, and makes the
    /// searches fail that wait for a connection.
    void Fail(const std::string& reason) {
        CloseKept();
        const std::lock_guard<std::mutex> lock(m_lock);
        ++m_failures;
        m_reason = reason;
        m_changed.notify_all();
    }

    std::optional<Deadline::Clock::time_point> CloseIdle() override {
        const auto now = Deadline::Clock::now();
        std::vector<Kept> due; // closed without the lock
        const std::lock_guard<std::mutex> lock(m_lock);
        while (!m_kept.empty() && m_kept.front().until <= now) {
            due.push_back(std::move(m_kept.front()));
            m_kept.erase(m_kept.begin());
        }
        m_watched = !m_kept.empty();
        if (!m_watched)
            return std::nullopt;
        return m_kept.front().until;
    }

private:
    struct Kept {
        std::unique_ptr<Connection> connection;
        Deadline::Clock::time_point until;
        int processor; ///< that used it last
    };

    /// The right to one connection, with a kept connection if there is one. It is closed at the
    /// end, or kept.
    struct Lease {
        Lease(ServerPool& from, Deadline deadline) : pool(from) {
            std::unique_lock<std::mutex> lock(pool.m_lock);
            const std::uint64_t failures = pool.m_failures;
            const auto ready = [&] {
                return pool.m_used < pool.m_settings->max_connections ||
                       pool.m_failures != failures;
            };
            if (!pool.m_changed.wait_until(lock, deadline.GetTime(), ready))
                throw Busy();
            if (pool.m_failures != failures)
                throw ServerFault(pool.m_reason);
            ++pool.m_used;
            if (!pool.m_kept.empty()) {
                const auto chosen = pool.Choose();
                connection = std::move(chosen->connection);
                pool.m_kept.erase(chosen);
            }
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        ~Lease() {
            if (!keep)
                connection.reset();
            const auto until = Deadline::Clock::now() + pool.m_settings->idle_timeout;
            bool watch = false;
            {
                const std::lock_guard<std::mutex> lock(pool.m_lock);
                --pool.m_used;
                if (connection) {
                    pool.m_kept.push_back(
                        {std::move(connection), until, CurrentProcessor()}); // has room
                    watch = !std::exchange(pool.m_watched, true);
                }
            }
            pool.m_changed.notify_one();
            if (watch)
                pool.Watch(until);
        }

        ServerPool& pool;
        std::unique_ptr<Connection> connection;
        bool keep = false;
    };

    /// The kept connection to use next: the last one of this processor, or of all. Where it was
    /// used is where its server's process waits, and to wake one on another processor costs more.
    typename std::vector<Kept>::iterator Choose() {
        const auto here = std::find_if(
            m_kept.rbegin(), m_kept.rend(),
            [now = CurrentProcessor()](const Kept& kept) { return kept.processor == now; });
        return std::prev(here == m_kept.rend() ? m_kept.end() : here.base());
    }

    template <typename Ask>
    void AskWith(Lease& lease, Ask& ask) {
        const bool keep = m_settings->idle_timeout.count() != 0;
        try {
            ask(*lease.connection);
        } catch (const QuestionFault&) {
            lease.keep = keep;
            throw;
        }
        lease.keep = keep;
    }

    /// Throws nothing, because the search already has its answer.
    void Watch(Deadline::Clock::time_point until) {
        try {
            IdleCloser::Instance()->Watch(this->shared_from_this(), until);
        } catch (const std::exception&) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_watched = false;
        }
    }

    void CloseKept() {
        std::vector<Kept> closed; // without the lock
        closed.reserve(m_settings->max_connections);
        const std::lock_guard<std::mutex> lock(m_lock);
        closed.swap(m_kept);
    }

    const Server m_server;
    const std::shared_ptr<const ServerSettings> m_settings;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Kept> m_kept; ///< the one used last at the end
    std::size_t m_used = 0;   ///< leases
    std::uint64_t m_failures = 0;
    std::string m_reason;   ///< of the last failure
    bool m_watched = false; ///< CloseIdle() will be called
};

} // namespace kwlookup
