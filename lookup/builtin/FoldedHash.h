// SPDX-License-Identifier: MIT
#pragma once

#include "text/FoldedText.h"
#include "text/Platform.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>

namespace kwlookup {

// The hash of texts under a fold. All of it is inlined: the fewer instructions a search has, the
// more searches the processor overlaps while they wait for memory.

/// Two secret random numbers, so that a stranger cannot choose texts whose hashes collide.
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

inline std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
    const Product product = Multiply(a, b);
    return product.low ^ product.high;
}

/// The part of a text that has been hashed already, from its end. The hash of a longer ending of
/// the same text continues from there, so that hashing all endings costs one pass.
struct HashedEnding {
    const char* end = nullptr;
    std::size_t size = 0;
    std::uint64_t state = 0;
};

template <typename Fold>
[[gnu::always_inline]] inline std::uint64_t Hash(const Fold& fold, std::string_view text,
                                                 const HashSeed& seed, HashedEnding& done) {
    constexpr std::size_t STEP = 16;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    if (done.end != end || done.size >= text.size())
        done = {end, 0, seed.first};
    if constexpr (Fold::HAS_BLOCKS) {
        constexpr std::size_t BLOCK = UpperRanges::BLOCK;
        std::array<char, BLOCK> folded;
        for (; text.size() - done.size > BLOCK; done.size += BLOCK) {
            fold.FoldBlock(end - done.size - BLOCK, folded.data());
            for (const char* p = folded.data() + BLOCK; p != folded.data(); p -= STEP)
                done.state =
                    Mix(LoadWord(p - STEP) ^ seed.second, LoadWord(p - STEP + 8) ^ done.state);
        }
    }
    for (; text.size() - done.size > STEP; done.size += STEP) {
        const char* const p = end - done.size - STEP;
        done.state = Mix(fold(LoadWord(p)) ^ seed.second, fold(LoadWord(p + 8)) ^ done.state);
    }
    std::uint64_t first = 0, last = 0;
    if (text.size() >= 8) {
        first = LoadWord(begin);
        last = LoadWord(text.size() < STEP ? end - 8 : begin + 8);
    } else {
        first = LoadTail(begin, text.size());
    }
    const std::uint64_t state = Mix(fold(first) ^ seed.second, fold(last) ^ done.state);
    return Mix(state ^ text.size() ^ seed.second, seed.first);
}

template <typename Fold>
[[gnu::always_inline]] inline std::uint64_t Hash(const Fold& fold, std::string_view text,
                                                 const HashSeed& seed) {
    HashedEnding done;
    return Hash(fold, text, seed, done);
}

/// Returns a position below `count`, from the upper bits of a hash.
[[gnu::always_inline]] inline std::size_t PlaceOf(std::uint64_t hash, std::size_t count) {
    return static_cast<std::size_t>(Multiply(hash, count).high);
}

} // namespace kwlookup
