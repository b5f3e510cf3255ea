// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

namespace kwlookup {

/// Maps blocks of bytes to their upper-case forms by arithmetic on ranges of letters, which a
/// compiler can vectorise. For long texts that is about four times as fast as a table.
class UpperRanges {
public:
    using Table = std::array<char, 256>;

    /// The size of a block in bytes: small for the cache, large beside the cost of a call.
    static constexpr std::size_t BLOCK = 256;

    /// Has no ranges: no byte changes.
    UpperRanges() = default;
    /// Makes the ranges of `upper`, the upper-case form of each byte value.
    explicit UpperRanges(const Table& upper);

    /// Returns false when the letters have too many ranges, so that a table is faster.
    bool AreFew() const { return m_count <= MOST; }

    /// Writes the upper-case forms of BLOCK bytes. Call it only when AreFew().
    void Fold(const char* from, char* to) const;

private:
    /// Enough for Latin, Cyrillic and Greek locales of 8 bits.
    static constexpr std::size_t MOST = 8;

    /// The upper-case form of a byte between `first` and `first` + `span` is `distance` less.
    struct Range {
        unsigned char first, span, distance;
    };

    std::array<Range, MOST> m_ranges{};
    std::size_t m_count = 0; ///< more than MOST if there are too many
};

} // namespace kwlookup
