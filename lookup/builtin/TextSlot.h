// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kwlookup {

/// A slot of an index: where a text is (48 bits), its size and 8 bits of its hash. A search finds
/// the text without a look at its std::string, which would cost a cache miss. Only texts of 255
/// bytes and more are found through their std::string.
class TextSlot {
public:
    using Key = std::uint16_t;

    /// What the slot of a text has beside the place.
    static Key KeyOf(std::string_view text, std::uint64_t hash) {
        return static_cast<Key>(std::min(text.size(), LONG_TEXT) << 8 | (hash & 0xff));
    }

    TextSlot() = default;

    /// Of `text`, which is in `holder`. Free when their address needs more than 48 bits.
    TextSlot(std::string_view text, const std::string& holder, Key key) {
        const auto address = text.size() < LONG_TEXT ? reinterpret_cast<std::uintptr_t>(text.data())
                                                     : reinterpret_cast<std::uintptr_t>(&holder);
        const std::uint64_t bits = static_cast<std::uint64_t>(address) << 16 | key;
        if (bits >> 16 == address)
            m_bits = bits;
    }

    bool IsFree() const { return m_bits == 0; }
    bool HasKey(Key key) const { return static_cast<Key>(m_bits) == key; }
    bool IsLong() const { return GetSize() == LONG_TEXT; }

    /// The text, or the std::string with a long one.
    const void* GetAddress() const {
        return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(m_bits >> 16));
    }

    /// A text that is not long.
    std::string_view GetText() const {
        return std::string_view(static_cast<const char*>(GetAddress()), GetSize());
    }

    /// What holds a long text.
    const std::string& GetHolder() const { return *static_cast<const std::string*>(GetAddress()); }

private:
    static constexpr std::size_t LONG_TEXT = 255; ///< what fits the byte of the size

    std::size_t GetSize() const { return m_bits >> 8 & 0xff; }

    std::uint64_t m_bits = 0;
};

} // namespace kwlookup
