// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace kwlookup {

/// Closes connections that nobody used for a while, also when nobody searches any more: in a thread
/// that is there while there is something to close.
///
/// Threads: any.
class IdleCloser : public std::enable_shared_from_this<IdleCloser> {
public:
    /// Somebody who keeps connections.
    class Keeper {
    public:
        virtual ~Keeper() = default;
        /// Closes what is due, and says when the next one will be; nothing when it keeps none.
        /// Called by the closer's thread, which holds no lock. Must not throw.
        virtual std::optional<Deadline::Clock::time_point> CloseIdle() = 0;
    };

    /// That of this process.
    static const std::shared_ptr<IdleCloser>& Instance();

    /// `keeper` keeps a connection from now on, which is due at `at`. Calls CloseIdle() then, and
    /// until it says that it keeps none. Without a thread, where none can be made, connections stay
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
