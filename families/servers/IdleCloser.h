// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace kwlookup {

/// Closes idle connections, even when there are no more searches. It has a thread while there are
/// connections to close.
///
/// Threads: any.
class IdleCloser : public std::enable_shared_from_this<IdleCloser> {
public:
    /// An object that keeps connections.
    class Keeper {
    public:
        virtual ~Keeper() = default;
        /// Close connections that are due. Returns when the next one will be due, or nothing if
        /// there are no more. Called by the closer's thread, without a lock. Must not throw.
        virtual std::optional<Deadline::Clock::time_point> CloseIdle() = 0;
    };

    /// The closer of this process.
    static const std::shared_ptr<IdleCloser>& Instance();

    /// Call when `keeper` keeps its first connection, which is due at `at`. CloseIdle() is called
    /// then, and again until it returns nothing. If no thread can be started, connections stay
    /// until they are used.
    void Watch(const std::shared_ptr<Keeper>& keeper, Deadline::Clock::time_point at);

private:
    struct Watched {
        std::weak_ptr<Keeper> keeper;
        Deadline::Clock::time_point at;
    };

    void Run();

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::list<Watched> m_watched;
    bool m_runs = false;
};

} // namespace kwlookup
