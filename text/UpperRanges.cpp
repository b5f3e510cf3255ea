// SPDX-License-Identifier: MIT
#include "text/UpperRanges.h"

#include <algorithm>
#include <cstring>

namespace kwlookup {

UpperRanges::UpperRanges(const Table& upper) {
    const auto distance_of = [&](std::size_t byte) {
        return static_cast<unsigned char>(byte - static_cast<unsigned char>(upper[byte]));
    };
    for (std::size_t first = 0, end; first < upper.size() && m_count <= MOST; first = end) {
        const unsigned char distance = distance_of(first);
        for (end = first + 1; end < upper.size() && distance_of(end) == distance; ++end) {
        }
        if (distance == 0)
            continue;
        if (m_count < MOST)
            m_ranges[m_count] = {static_cast<unsigned char>(first),
                                 static_cast<unsigned char>(end - first - 1), distance};
        ++m_count;
    }
}

void UpperRanges::Fold(const char* from, char* to) const {
    std::array<unsigned char, BLOCK> bytes, folded;
    std::memcpy(bytes.data(), from, BLOCK);
    folded = bytes;
    for (std::size_t r = 0; r < m_count; ++r) {
        const Range range = m_ranges[r];
        for (std::size_t i = 0; i < BLOCK; ++i) {
            const auto offset = static_cast<unsigned char>(bytes[i] - range.first);
            const unsigned char less = offset <= range.span ? range.distance : 0;
            folded[i] = static_cast<unsigned char>(folded[i] - less);
        }
    }
    std::memcpy(to, folded.data(), BLOCK);
}

} // namespace kwlookup
