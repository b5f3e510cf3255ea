// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

// The seam to the system: everything that neither C++ nor POSIX offers. Each function has a plain
// form for compilers and systems without the extension.

/// Declares a function that the program may lack. Its address is then null.
#define KW_WEAK __attribute__((weak))

/// The 128-bit product of two 64-bit numbers.
struct Product {
    std::uint64_t high;
    std::uint64_t low;
};

inline Product Multiply(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
    __extension__ using Uint128 = unsigned __int128;
    const auto product = static_cast<Uint128>(a) * b;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
#else
    const std::uint64_t a_low = a & 0xffffffff, a_high = a >> 32;
    const std::uint64_t b_low = b & 0xffffffff, b_high = b >> 32;
    const std::uint64_t low = a_low * b_low;
    const std::uint64_t middle = a_high * b_low + (low >> 32);
    const std::uint64_t other = a_low * b_high + (middle & 0xffffffff);
    return {a_high * b_high + (middle >> 32) + (other >> 32), a * b};
#endif
}

/// Starts to load the memory at `address` into the processor's cache. It is a hint; the address
/// need not be valid.
inline void Prefetch(const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
    asm volatile(""); // GCC removes loops that do nothing else
#else
    static_cast<void>(address);
#endif
}

/// Asks the system for huge pages, for large memory with random access. It is a hint.
void AdviseHugePages(void* begin, std::size_t size);

/// Does the same for the next 64 MiB of the heap, where the C library can be told. Strings that are
/// loaded then cost fewer page faults, and searches of them fewer look-ups of addresses. Uses no
/// memory by itself. It changes how the process gets memory, so it is for a program, not for a
/// library. Call it while there is one thread.
void UseHugePagesForHeap();

/// Returns the nanoseconds of a clock that never goes back. It moves in steps of CoarseTick(). A
/// call costs about 5 ns.
std::int64_t CoarseNanoseconds();

/// Returns the step of CoarseNanoseconds(): 1 to 10 ms where the system has a coarse clock.
std::int64_t CoarseTick();

/// Returns the position of the last `byte` in `text`, or std::string_view::npos.
std::size_t FindLastByte(std::string_view text, char byte);

/// Returns true when the process certainly has only one thread.
bool HasOneThread();

/// Returns the number of the processor on which the thread runs, which may be outdated at once. The
/// same number for all where the system does not tell.
int CurrentProcessor();

/// Returns the directories that the dynamic loader searches for libraries that this one opens, in
/// the loader's order. Empty where the loader cannot be asked.
std::vector<std::string> LibraryDirectories();

/// Returns true when numbers are stored with their lowest byte first.
inline bool IsLittleEndian() {
    const std::uint16_t one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

} // namespace kwlookup
