// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <list>
#include <memory>

namespace kwlookup {

class FirebirdAttachment;

/// While it is there, calls for an attachment take no longer than until the deadline: a thread that
/// all watches of the process share cancels them then, and again until the watch goes.
///
/// Threads: one at a time.
class CancelWatch {
public:
    /// Throws ServerFault when there can be no thread.
    CancelWatch(FirebirdAttachment& attachment, Deadline deadline);
    ~CancelWatch();
    CancelWatch(const CancelWatch&) = delete;
    CancelWatch& operator=(const CancelWatch&) = delete;

    /// The deadline has passed, and the attachment may be of no more use.
    bool HasCancelled() const;

private:
    class Watcher;

    /// What is watched.
    struct Watched {
        FirebirdAttachment& attachment;
        Deadline::Clock::time_point at;
        bool cancelled = false;
    };

    const std::shared_ptr<Watcher> m_watcher;
    std::list<Watched>::iterator m_watched;
};

} // namespace kwlookup
