// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/FoldedHash.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kwlookup {

/// Tells of most hashes that are not in an index that they are not, at the cost of one word of a
/// table that is small enough to stay in the processor's cache.
class HashFilter {
public:
    /// For `count` hashes: a byte each, which lets about 1 of 40 others pass. Throws
    /// std::bad_alloc.
    explicit HashFilter(std::size_t count) : m_words(count / 8 + 1) {}

    void Add(std::uint64_t hash) { m_words[PlaceOf(hash, m_words.size())] |= Bits(hash); }

    /// Brings what MayHold() needs.
    void Fetch(std::uint64_t hash) const { Prefetch(&m_words[PlaceOf(hash, m_words.size())]); }

    [[gnu::always_inline]] bool MayHold(std::uint64_t hash) const {
        const std::uint64_t bits = Bits(hash);
        return (m_words[PlaceOf(hash, m_words.size())] & bits) == bits;
    }

private:
    /// Up to four bits of a word, by the lower bits of a hash: 6 bits name one of 64.
    [[gnu::always_inline]] static std::uint64_t Bits(std::uint64_t hash) {
        const auto bit = [hash](int shift) { return std::uint64_t(1) << (hash >> shift & 63); };
        return bit(0) | bit(6) | bit(12) | bit(18);
    }

    std::vector<std::uint64_t> m_words;
};

} // namespace kwlookup
