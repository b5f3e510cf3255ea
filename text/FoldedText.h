// SPDX-License-Identifier: MIT
#pragma once

#include "text/LocaleBytes.h"
#include "text/UpperRanges.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kwlookup {

// Comparison of texts under a fold. A fold maps eight bytes at once to the form in which they are
// compared. GetDifference() is zero when two words have the same form. A fold with blocks maps
// UpperRanges::BLOCK bytes faster than word by word.

constexpr std::uint64_t EACH_BYTE = 0x0101010101010101;

/// Changes nothing: bytes are compared as they are.
struct AsTheyAre {
    static constexpr bool HAS_BLOCKS = false;

    std::uint64_t operator()(std::uint64_t word) const { return word; }

    std::uint64_t GetDifference(std::uint64_t left, std::uint64_t right) const {
        return left ^ right;
    }
};

/// Maps a to z to A to Z.
struct AsciiUpper {
    static constexpr bool HAS_BLOCKS = false;

    std::uint64_t operator()(std::uint64_t word) const { return word - GetCaseBits(word); }

    /// Of two bytes that differ in the bit of letter case only, the OR is the lower-case one.
    std::uint64_t GetDifference(std::uint64_t left, std::uint64_t right) const {
        return (left ^ right) & ~GetCaseBits(left | right);
    }

private:
    /// Returns the bit of letter case for each byte from a to z.
    static std::uint64_t GetCaseBits(std::uint64_t word) {
        const std::uint64_t low = word & (0x7f * EACH_BYTE);
        const std::uint64_t from_a = low + (0x80 - 'a') * EACH_BYTE;
        const std::uint64_t past_z = low + (0x7f - 'z') * EACH_BYTE;
        const std::uint64_t letters = (from_a ^ past_z) & ~word & (0x80 * EACH_BYTE);
        return letters >> 2;
    }
};

/// Maps each byte through a table, and blocks by the same table's ranges.
struct TableUpper {
    static constexpr bool HAS_BLOCKS = true;

    const LocaleBytes::Table& table;
    const UpperRanges& ranges;

    /// Maps UpperRanges::BLOCK bytes.
    void FoldBlock(const char* from, char* to) const {
        if (ranges.AreFew())
            return ranges.Fold(from, to);
        for (std::size_t i = 0; i < UpperRanges::BLOCK; ++i)
            to[i] = table[static_cast<unsigned char>(from[i])];
    }

    std::uint64_t operator()(std::uint64_t word) const {
        std::uint64_t folded = 0;
        for (int shift = 0; shift < 64; shift += 8) {
            const auto upper = static_cast<unsigned char>(table[(word >> shift) & 0xff]);
            folded |= static_cast<std::uint64_t>(upper) << shift;
        }
        return folded;
    }

    std::uint64_t GetDifference(std::uint64_t left, std::uint64_t right) const {
        return left == right ? 0 : (*this)(left) ^ (*this)(right);
    }
};

inline std::uint64_t LoadWord(const char* p) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof(word));
    return word;
}

/// Packs the `size` (0 to 7) bytes from `p` into a number. Different texts of one size give
/// different numbers, on little-endian and big-endian machines.
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

/// Returns true when no byte is above 0x7f.
inline bool IsAscii(std::string_view text) {
    std::uint64_t bits = 0;
    std::size_t i = 0;
    for (; text.size() - i >= 8; i += 8)
        bits |= LoadWord(text.data() + i);
    return ((bits | LoadTail(text.data() + i, text.size() - i)) & 0x80 * EACH_BYTE) == 0;
}

/// Returns true when UpperRanges::BLOCK bytes are equal under `fold`.
template <typename Fold>
bool EqualBlocks(const Fold& fold, const char* left, const char* right) {
    std::array<char, UpperRanges::BLOCK> folded_left, folded_right;
    fold.FoldBlock(left, folded_left.data());
    fold.FoldBlock(right, folded_right.data());
    return folded_left == folded_right;
}

/// Returns true when two texts of `size` bytes are equal under `fold`.
template <typename Fold>
[[gnu::always_inline]] inline bool Equal(const Fold& fold, const char* left, const char* right,
                                         std::size_t size) {
    if (size < 8)
        return fold.GetDifference(LoadTail(left, size), LoadTail(right, size)) == 0;
    std::size_t i = 0;
    if constexpr (Fold::HAS_BLOCKS) {
        for (constexpr std::size_t BLOCK = UpperRanges::BLOCK; size - i >= BLOCK; i += BLOCK)
            if (std::memcmp(left + i, right + i, BLOCK) != 0 &&
                !EqualBlocks(fold, left + i, right + i))
                return false;
    }
    // No branch inside a block, so that the compiler can vectorise it.
    for (constexpr std::size_t BLOCK = 64; size - i > BLOCK; i += BLOCK) {
        std::uint64_t different = 0;
        for (std::size_t j = i; j < i + BLOCK; j += 8)
            different |= fold.GetDifference(LoadWord(left + j), LoadWord(right + j));
        if (different != 0)
            return false;
    }
    for (; i < size - 8; i += 8)
        if (fold.GetDifference(LoadWord(left + i), LoadWord(right + i)) != 0)
            return false;
    return fold.GetDifference(LoadWord(left + size - 8), LoadWord(right + size - 8)) == 0;
}

template <typename Fold>
[[gnu::always_inline]] inline bool Equal(const Fold& fold, std::string_view left,
                                         std::string_view right) {
    return left.size() == right.size() && Equal(fold, left.data(), right.data(), left.size());
}

} // namespace kwlookup
