// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/FoldedHash.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kwlookup {

/// Rules out most hashes that are not in an index. A test reads one word of a table that is small
/// enough to stay in the processor's cache.
class HashFilter {
public:
    /// Makes a filter for `count` hashes, of one byte each. About 1 in 40 other hashes passes it.
    /// Throws std::bad_alloc.
    explicit HashFilter(std::size_t count) : m_words(count / 8 + 1) {}

    void Add(std::uint64_t hash) { m_words[PlaceOf(hash, m_words.size())] |= Bits(hash); }

    /// Loads what MayHold() needs into the cache.
    void Fetch(std::uint64_t hash) const { Prefetch(&m_words[PlaceOf(hash, m_words.size())]); }

    [[gnu::always_inline]] bool MayHold(std::uint64_t hash) const {
        const std::uint64_t bits = Bits(hash);
        return (m_words[PlaceOf(hash, m_words.size())] & bits) == bits;
    }

private:
    /// Returns up to four bits of a word. Each is chosen by 6 of the lower bits of a hash.
    [[gnu::always_inline]] static std::uint64_t Bits(std::uint64_t hash) {
        const auto bit = [hash](int shift) { return std::uint64_t(1) << (hash >> shift & 63); };
        return bit(0) | bit(6) | bit(12) | bit(18);
    }

    std::vector<std::uint64_t> m_words;
};

} // namespace kwlookup
