// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <functional>
#include <list>
#include <memory>

namespace kwlookup {

/// Limits the time of calls of a library that blocks. While a watch exists, calls that go on after
/// the deadline are cancelled, and cancelled again until the watch is destroyed. One thread serves
/// all watches of the process. A watch costs a lock and an allocation.
///
/// Threads: one at a time.
class CancelWatch {
public:
    /// `cancel` ends the current call. It is called by the thread under a lock, so it must not
    /// wait, nor throw. Throws ServerFault if the thread cannot be started.
    CancelWatch(std::function<void()> cancel, Deadline deadline);
    ~CancelWatch();
    CancelWatch(const CancelWatch&) = delete;
    CancelWatch& operator=(const CancelWatch&) = delete;

    /// True if the deadline has passed. The connection may be unusable then.
    bool HasCancelled() const;

private:
    class Watcher;

    struct Watched {
        std::function<void()> cancel;
        Deadline::Clock::time_point at;
        bool cancelled = false;
    };

    const std::shared_ptr<Watcher> m_watcher;
    std::list<Watched>::iterator m_watched;
};

} // namespace kwlookup
