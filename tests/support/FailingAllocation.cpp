// SPDX-License-Identifier: MIT
#include "support/FailingAllocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> g_live{0};
thread_local long t_left = -1; // if negative, none fails

} // namespace

void* operator new(std::size_t size) {
    if (t_left >= 0 && t_left-- == 0)
        throw std::bad_alloc();
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (!memory)
        throw std::bad_alloc();
    ++g_live;
    return memory;
}

void operator delete(void* memory) noexcept {
    if (!memory)
        return;
    --g_live;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

FailingAllocation::FailingAllocation(long after) {
    t_left = after;
}

FailingAllocation::~FailingAllocation() {
    t_left = -1;
}

bool FailingAllocation::HasFailed() const {
    return t_left < 0;
}

long FailingAllocation::Live() {
    return g_live;
}
