// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <memory>
#include <vector>

namespace kwlookup {

/// Waits until descriptors are ready: with epoll, or with poll() where there is none.
///
/// An event comes when its reason is new. It need not come again while the reason lasts, because
/// the system would have to look at each descriptor twice. Change() asks for it again.
///
/// Boost.Asio is not used for connections, because it makes one more system call for each request:
/// it tries to read again, or re-registers the descriptor, before it waits. Threads: one.
class Poller {
public:
    struct Event {
        void* owner;
        bool readable;
        bool writable;
        bool ended; ///< the other side will write no more. What it has written may still be unread
        bool gone;  ///< the other side is closed for reading and writing, or has failed
    };

    /// Throws std::system_error.
    Poller();
    ~Poller();
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    /// Adds a descriptor that events name by `owner`. Throws std::system_error.
    void Add(int fd, void* owner, bool read, bool write);
    /// Changes what to wait for. What is ready now makes an event.
    void Change(int fd, void* owner, bool read, bool write);
    void Remove(int fd);

    /// Waits for at most so many milliseconds, or without end if negative. The result is valid
    /// until the next call.
    const std::vector<Event>& Wait(int milliseconds);

private:
    struct System;

    FileDescriptor m_set;
    std::unique_ptr<System> m_system;
    std::vector<Event> m_events;
};

} // namespace kwlookup
