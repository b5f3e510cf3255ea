// SPDX-License-Identifier: MIT
#pragma once

#include "text/FoldedText.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The sizes, first bytes, last bytes and greatest number of dots of the parts in a list, and
/// whether each has an '@'. They rule out most keys that equal no part, without computing a hash.
class PartShapes {
public:
    /// Throws std::bad_alloc.
    void Note(std::string_view part, const LocaleBytes& bytes) {
        if (part.size() < m_has_size.size())
            m_has_size[part.size()] = true;
        else if (m_sizes.empty() || m_sizes.back() != part.size())
            m_sizes.push_back(part.size());
        m_most_dots = std::max(m_most_dots, CountDots(part));
        if (!part.empty()) {
            m_first[Upper(part.front(), bytes)] = true;
            m_last[Upper(part.back(), bytes)] = true;
        }
        m_all_have_at = m_all_have_at && HasAt(part);
    }

    /// Call it after the last Note().
    void Finish(const LocaleBytes& bytes) {
        for (std::size_t size = 0; size < m_has_size.size(); ++size)
            if (m_has_size[size])
                m_sizes.push_back(size);
        std::sort(m_sizes.begin(), m_sizes.end());
        m_sizes.erase(std::unique(m_sizes.begin(), m_sizes.end()), m_sizes.end());
        m_sizes.shrink_to_fit();
        if (!bytes.UpperKeepsMarks())
            m_most_dots = SIZE_MAX; // a part may equal a key with another number of dots
        for (int byte = 0; byte < 256; ++byte)
            if (byte != '@' && bytes.Upper(static_cast<char>(byte)) == bytes.Upper('@'))
                m_all_have_at = false; // a part with an '@' may equal a key without
    }

    /// Returns false only when no part equals `key`.
    bool MayHold(std::string_view key, const LocaleBytes& bytes) const {
        return HoldsSize(key.size()) && (key.empty() || (m_first[Upper(key.front(), bytes)] &&
                                                         m_last[Upper(key.back(), bytes)] &&
                                                         (!m_all_have_at || HasAt(key))));
    }

    /// Returns the sizes in ascending order.
    const std::vector<std::size_t>& GetSizes() const { return m_sizes; }
    /// Returns a number of dots that no part exceeds.
    std::size_t GetMostDots() const { return m_most_dots; }
    /// Returns true when each part equals only keys with an '@'.
    bool AllHaveAt() const { return m_all_have_at; }

private:
    static unsigned char Upper(char c, const LocaleBytes& bytes) {
        return static_cast<unsigned char>(bytes.Upper(c));
    }

    static std::size_t CountDots(std::string_view part) {
        constexpr std::uint64_t LOW = 0x7f * EACH_BYTE;
        std::size_t dots = 0, i = 0;
        for (; part.size() - i >= 8; i += 8) {
            const std::uint64_t word = LoadWord(part.data() + i) ^ '.' * EACH_BYTE;
            const std::uint64_t zero_bytes = ~(((word & LOW) + LOW) | word | LOW);
            dots += (zero_bytes >> 7) * EACH_BYTE >> 56;
        }
        return dots + static_cast<std::size_t>(std::count(part.begin() + i, part.end(), '.'));
    }

    static bool HasAt(std::string_view text) { return text.find('@') != std::string_view::npos; }

    bool HoldsSize(std::size_t size) const {
        return size < m_has_size.size() ? m_has_size[size]
                                        : std::binary_search(m_sizes.begin(), m_sizes.end(), size);
    }

    std::vector<std::size_t> m_sizes;
    std::bitset<4096> m_has_size;    ///< for usual sizes; a part may have a gigabyte
    std::array<bool, 256> m_first{}; ///< indexed by upper-case form
    std::array<bool, 256> m_last{};  ///< indexed by upper-case form
    std::size_t m_most_dots = 0;
    bool m_all_have_at = true;
};

} // namespace kwlookup
