// SPDX-License-Identifier: MIT
#include "text/Platform.h"

#include <sys/mman.h>

namespace kwlookup {

void AdviseHugePages(void* begin, std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t PAGE = 4096; // the smallest; advice from inside a larger one fails
    const auto first = (reinterpret_cast<std::uintptr_t>(begin) + PAGE - 1) / PAGE * PAGE;
    const auto last = (reinterpret_cast<std::uintptr_t>(begin) + size) / PAGE * PAGE;
    if (first < last)
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
    static_cast<void>(begin);
    static_cast<void>(size);
#endif
}

} // namespace kwlookup
