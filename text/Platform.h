// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

// The seam to the system. What neither C++ nor POSIX offers stands here and nowhere else. Each
// function has a plain form for compilers and systems that lack the better one.

/// Before the declaration of a function that the program may lack; its address is then null.
#define KW_WEAK __attribute__((weak))

/// The product of two 64-bit numbers.
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

/// Starts to bring the memory at `address` into the processor's cache. Only a hint; the address
/// need not be valid.
inline void Prefetch(const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    static_cast<void>(address);
#endif
}

/// Asks for huge pages for memory that is read all over. Only a hint, and moot when it is small.
void AdviseHugePages(void* begin, std::size_t size);

/// Nanoseconds of a clock that never goes back. It moves in steps of CoarseTick(). Costs some 5 ns.
std::int64_t CoarseNanoseconds();

/// The step of CoarseNanoseconds(): 1 to 10 ms where the system has a coarse clock.
std::int64_t CoarseTick();

/// The place of the last `byte` in `text`, or std::string_view::npos.
std::size_t FindLastByte(std::string_view text, char byte);

/// True when the process surely has one thread only.
bool HasOneThread();

/// The directories that the dynamic loader searches for what this library opens, in its order.
/// Empty where the loader does not tell.
std::vector<std::string> LibraryDirectories();

/// True when numbers are stored with their lowest byte first.
inline bool IsLittleEndian() {
    const std::uint16_t one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

} // namespace kwlookup
