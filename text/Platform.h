// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace kwlookup {

// What the C++ standard does not offer, in one place: each function has a plain implementation for
// compilers and systems that lack it.

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

} // namespace kwlookup
