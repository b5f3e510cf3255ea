// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <functional>
#include <memory>

namespace kwlookup {

/// A thread for the calls of a library that blocks without a time limit. The caller waits until the
/// deadline at most. If a call does not end by then, its thread is abandoned; it ends with the
/// call. At most 16 threads are abandoned at a time.
///
/// Threads: one at a time.
class CallThread {
public:
    /// Starts the thread. Throws ServerFault "too many calls do not end" if 16 threads are
    /// abandoned and none of them ends before the deadline, and the system's reason if it cannot
    /// start a thread.
    explicit CallThread(Deadline deadline);

    /// Does not wait. The thread destroys the object passed to Keep(), and ends.
    ~CallThread();
    CallThread(const CallThread&) = delete;
    CallThread& operator=(const CallThread&) = delete;

    /// Runs `call` in the thread, and throws what it throws. Throws ServerFault "no answer in time"
    /// if the deadline passes first. Then `call` goes on, so it must own everything that it uses,
    /// and Do() must not be called again.
    void Do(Deadline deadline, std::function<void()> call);

    /// Makes the thread an owner of `value`, so that it is destroyed there.
    void Keep(std::shared_ptr<void> value);

private:
    struct State;

    const std::shared_ptr<State> m_state;
};

} // namespace kwlookup
