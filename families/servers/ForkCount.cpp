// SPDX-License-Identifier: MIT
#include "families/servers/ForkCount.h"

#include <atomic>
#include <pthread.h>
#include <system_error>

namespace kwlookup {
namespace {

std::atomic<std::uint64_t> g_forks{0};

} // namespace

std::uint64_t ForkCount() {
    static const bool watched = [] {
        const int error = ::pthread_atfork(nullptr, nullptr, [] { ++g_forks; });
        if (error != 0)
            throw std::system_error(error, std::generic_category(), "pthread_atfork");
        return true;
    }();
    static_cast<void>(watched);
    return g_forks.load(std::memory_order_relaxed);
}

} // namespace kwlookup
