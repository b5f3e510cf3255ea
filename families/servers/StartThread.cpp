// SPDX-License-Identifier: MIT
#include "families/servers/StartThread.h"

#include <csignal>
#include <thread>
#include <utility>

namespace kwlookup {

void StartThread(std::function<void()> work) {
    /// Restores the signal mask of the calling thread.
    struct Mask {
        Mask() {
            sigset_t all;
            ::sigfillset(&all);
            ::pthread_sigmask(SIG_SETMASK, &all, &before);
        }
        ~Mask() { ::pthread_sigmask(SIG_SETMASK, &before, nullptr); }
        sigset_t before;
    };
    const Mask blocked;
    std::thread(std::move(work)).detach();
}

} // namespace kwlookup
