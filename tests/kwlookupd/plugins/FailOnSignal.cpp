// SPDX-License-Identifier: MIT
// To be preloaded. When a thread has got SIGRTMIN, its next allocation fails.
#include "support/FailingAllocation.h"

#include <csignal>
#include <optional>

namespace {

std::optional<FailingAllocation> g_failing;

const bool g_is_ready = [] {
    struct sigaction action {};
    action.sa_flags = SA_RESTART;
    action.sa_handler = [](int) { g_failing.emplace(0); };
    return ::sigaction(SIGRTMIN, &action, nullptr) == 0;
}();

} // namespace
