// SPDX-License-Identifier: MIT
#pragma once

#include "text/LocaleBytes.h"
#include "text/Platform.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string_view>

// The hash and the comparison of texts under a fold. A fold says of eight bytes at once what they
// are compared as. A search is inlined into one function: the fewer its instructions, the more
// searches the processor has waiting for memory at once.

constexpr std::uint64_t EACH_BYTE = 0x0101010101010101;

struct AsTheyAre {
    std::uint64_t operator()(std::uint64_t word) const { return word; }
};

/// a to z as A to Z, and no other byte changed.
struct AsciiUpper {
    std::uint64_t operator()(std::uint64_t word) const {
        const std::uint64_t low = word & (0x7f * EACH_BYTE);
        const std::uint64_t from_a = low + (0x80 - 'a') * EACH_BYTE;
        const std::uint64_t past_z = low + (0x7f - 'z') * EACH_BYTE;
        const std::uint64_t letters = (from_a ^ past_z) & ~word & (0x80 * EACH_BYTE);
        return word - (letters >> 2);
    }
};

struct TableUpper {
    const LocaleBytes::Table& table;

    std::uint64_t operator()(std::uint64_t word) const {
        std::uint64_t folded = 0;
        for (int shift = 0; shift < 64; shift += 8) {
            const auto upper = static_cast<unsigned char>(table[(word >> shift) & 0xff]);
            folded |= static_cast<std::uint64_t>(upper) << shift;
        }
        return folded;
    }
};

/// Two numbers that nobody outside can know, so that nobody can choose texts whose hashes collide.
struct HashSeed {
    std::uint64_t first;
    std::uint64_t second;

    /// Throws std::exception when the system has no random numbers.
    static HashSeed Random() {
        std::random_device random;
        const auto next = [&] { return static_cast<std::uint64_t>(random()) << 32 | random(); };
        return {next() | 1, next() | 1};
    }
};

inline std::uint64_t LoadWord(const char* p) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof(word));
    return word;
}

/// The `size` (0 to 7) bytes from `p`, in the lower bits of a number, the rest zero. Two texts of
/// one size give one number only when they are equal, whatever order a machine keeps bytes in.
inline std::uint64_t LoadTail(const char* p, std::size_t size) {
    if (size >= 4) {
        std::uint32_t first, last;
        std::memcpy(&first, p, 4);
        std::memcpy(&last, p + size - 4, 4); // may overlap the first
        return first | static_cast<std::uint64_t>(last) << 32;
    }
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < size; ++i)
        word |= static_cast<std::uint64_t>(static_cast<unsigned char>(p[i])) << (8 * i);
    return word;
}

inline std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
    const Product product = Multiply(a, b);
    return product.low ^ product.high;
}

template <typename Fold>
[[gnu::always_inline]] inline std::uint64_t Hash(const Fold& fold, std::string_view text,
                                                 const HashSeed& seed) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    std::uint64_t state = seed.first ^ text.size();
    std::uint64_t first = 0, last = 0;
    if (text.size() >= 8) {
        const char* p = begin;
        for (; end - p > 16; p += 16)
            state = Mix(fold(LoadWord(p)) ^ seed.second, fold(LoadWord(p + 8)) ^ state);
        first = LoadWord(text.size() < 16 ? begin : end - 16);
        last = LoadWord(end - 8);
    } else {
        first = LoadTail(begin, text.size());
    }
    state = Mix(fold(first) ^ seed.second, fold(last) ^ state);
    return Mix(state ^ seed.second, seed.first);
}

template <typename Fold>
[[gnu::always_inline]] inline bool Equal(const Fold& fold, std::string_view left,
                                         std::string_view right) {
    const std::size_t size = left.size();
    if (size != right.size())
        return false;
    const char* const l = left.data();
    const char* const r = right.data();
    if (size < 8)
        return fold(LoadTail(l, size)) == fold(LoadTail(r, size));
    for (std::size_t i = 0; i < size - 8; i += 8)
        if (fold(LoadWord(l + i)) != fold(LoadWord(r + i)))
            return false;
    return fold(LoadWord(l + size - 8)) == fold(LoadWord(r + size - 8));
}

/// A place among `count`, by the upper bits of a hash.
[[gnu::always_inline]] inline std::size_t PlaceOf(std::uint64_t hash, std::size_t count) {
    return static_cast<std::size_t>(Multiply(hash, count).high);
}
