// SPDX-License-Identifier: MIT
#include "TerminationAllowed.h"

#include <csignal>
#include <unistd.h>

namespace kwlookup {

namespace {

volatile std::sig_atomic_t exit_status = 0;

extern "C" void EndProcess(int) {
    ::_exit(exit_status);
}

void Mask(int how) {
    sigset_t termination;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    ::sigprocmask(how, &termination, nullptr);
}

} // namespace

void TerminationAllowed::Prepare() {
    Mask(SIG_BLOCK);
    struct sigaction action = {};
    ::sigaction(SIGTERM, nullptr, &action);
    if (action.sa_handler == SIG_IGN)
        return;
    action.sa_handler = EndProcess;
    ::sigaction(SIGTERM, &action, nullptr);
}

TerminationAllowed::TerminationAllowed(int status) {
    exit_status = status;
    Mask(SIG_UNBLOCK);
}

TerminationAllowed::~TerminationAllowed() {
    Mask(SIG_BLOCK);
}

} // namespace kwlookup
