// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <functional>
#include <memory>

namespace kwlookup {

/// A thread for the calls of a library that blocks without a time limit. Whoever makes a call waits
/// no longer than the deadline. The thread of a call that does not end is left behind, and ends
/// with that call; 16 of them at most.
///
/// Threads: one at a time.
class CallThread {
public:
    /// Starts the thread. Throws ServerFault "too many calls do not end" when no thread that was
    /// left behind ends before the deadline, and what the system says when it makes no thread.
    explicit CallThread(Deadline deadline);

    /// Does not wait: the thread destroys what Keep() gave it, and ends.
    ~CallThread();
    CallThread(const CallThread&) = delete;
    CallThread& operator=(const CallThread&) = delete;

    /// Makes `call` in the thread, and throws what it throws. Throws ServerFault "no answer in
    /// time" when the deadline passes; `call` then goes on, so it must own all that it uses, and
    /// no other call may be made.
    void Do(Deadline deadline, std::function<void()> call);

    /// The thread owns `value` too, so that it is destroyed there.
    void Keep(std::shared_ptr<void> value);

private:
    struct State;

    const std::shared_ptr<State> m_state;
};

} // namespace kwlookup
