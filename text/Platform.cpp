// SPDX-License-Identifier: MIT
#include "text/Platform.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <link.h>
#include <memory>
#include <new>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#include <sys/single_threaded.h>
#endif

namespace kwlookup {

namespace {

#if defined(CLOCK_MONOTONIC_COARSE)
constexpr clockid_t COARSE_CLOCK = CLOCK_MONOTONIC_COARSE;
#else
constexpr clockid_t COARSE_CLOCK = CLOCK_MONOTONIC;
#endif

std::int64_t Nanoseconds(const std::timespec& time) {
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

} // namespace

void AdviseHugePages(void* begin, std::size_t size) {
#if defined(MADV_HUGEPAGE)
    constexpr std::uintptr_t PAGE = 4096; // the smallest page; with larger ones madvise() fails
    const auto first = (reinterpret_cast<std::uintptr_t>(begin) + PAGE - 1) / PAGE * PAGE;
    const auto last = (reinterpret_cast<std::uintptr_t>(begin) + size) / PAGE * PAGE;
    if (first < last)
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
    static_cast<void>(begin);
    static_cast<void>(size);
#endif
}

void UseHugePagesForHeap() {
#if defined(__GLIBC__) && defined(M_TOP_PAD)
    constexpr int SIZE = 64 * 1024 * 1024;        // 1,000,000 addresses need 48 MB
    constexpr std::size_t FROM_HEAP = 127 * 1024; // malloc() maps blocks from 128 KiB on
    char* const begin = static_cast<char*>(::sbrk(0));
    ::mallopt(M_TOP_PAD, SIZE);
    void* volatile block = std::malloc(FROM_HEAP); // volatile, so that the call is not removed
    std::free(block);
    char* const end = static_cast<char*>(::sbrk(0));
    if (end > begin)
        AdviseHugePages(begin, static_cast<std::size_t>(end - begin));
#endif
}

std::int64_t CoarseNanoseconds() {
    std::timespec now{};
    ::clock_gettime(COARSE_CLOCK, &now);
    return Nanoseconds(now);
}

std::int64_t CoarseTick() {
    static const std::int64_t tick = [] {
        std::timespec resolution{};
        ::clock_getres(COARSE_CLOCK, &resolution);
        return Nanoseconds(resolution);
    }();
    return tick;
}

std::size_t FindLastByte(std::string_view text, char byte) {
#if defined(__GLIBC__)
    const void* const at = ::memrchr(text.data(), byte, text.size());
    return at ? static_cast<std::size_t>(static_cast<const char*>(at) - text.data())
              : std::string_view::npos;
#else
    return text.rfind(byte);
#endif
}

bool HasOneThread() {
#if defined(__GLIBC__)
    return __libc_single_threaded;
#else
    return false;
#endif
}

int CurrentProcessor() {
#if defined(__linux__)
    return ::sched_getcpu();
#else
    return 0;
#endif
}

std::vector<std::string> LibraryDirectories() {
    std::vector<std::string> directories;
#if defined(__GLIBC__)
    Dl_info self;
    if (::dladdr(reinterpret_cast<void*>(&LibraryDirectories), &self) == 0)
        return directories;
    const auto close = [](void* handle) { ::dlclose(handle); };
    const std::unique_ptr<void, decltype(close)> handle(
        ::dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD), close);
    Dl_serinfo size;
    if (!handle || ::dlinfo(handle.get(), RTLD_DI_SERINFOSIZE, &size) != 0)
        return directories;
    // The loader fills the structure and, behind it, the texts that it points to.
    std::vector<std::max_align_t> memory(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* path = new (memory.data()) Dl_serinfo(size);
    if (::dlinfo(handle.get(), RTLD_DI_SERINFO, path) != 0)
        return directories;
    for (unsigned i = 0; i < path->dls_cnt; ++i)
        directories.push_back(path->dls_serpath[i].dls_name);
#endif
    return directories;
}

} // namespace kwlookup
