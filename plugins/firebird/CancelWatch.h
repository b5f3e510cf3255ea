// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <list>
#include <memory>

namespace kwlookup {

class FirebirdAttachment;

/// Limits the time of calls for an attachment. While a watch exists, calls that go on after the
/// deadline are cancelled, and cancelled again until the watch is destroyed. One thread serves all
/// watches of the process.
///
/// Threads: one at a time.
class CancelWatch {
public:
    /// Throws ServerFault if the thread cannot be started.
    CancelWatch(FirebirdAttachment& attachment, Deadline deadline);
    ~CancelWatch();
    CancelWatch(const CancelWatch&) = delete;
    CancelWatch& operator=(const CancelWatch&) = delete;

    /// True if the deadline has passed. The attachment may be unusable then.
    bool HasCancelled() const;

private:
    class Watcher;

    struct Watched {
        FirebirdAttachment& attachment;
        Deadline::Clock::time_point at;
        bool cancelled = false;
    };

    const std::shared_ptr<Watcher> m_watcher;
    std::list<Watched>::iterator m_watched;
};

} // namespace kwlookup
