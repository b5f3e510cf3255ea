// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kwlookup {

/// A slot of an index: the address of a text (48 bits), its size and 8 bits of its hash. A search
/// reads the text without its std::string, which would cost a cache miss. Texts of 255 bytes and
/// more are read through their std::string.
class TextSlot {
public:
    using Key = std::uint16_t;

    /// Returns the size and the hash bits in the slot of a text.
    static Key KeyOf(std::string_view text, std::uint64_t hash) {
        return static_cast<Key>(std::min(text.size(), LONG_TEXT) << 8 | (hash & 0xff));
    }

    TextSlot() = default;

    /// Makes the slot of `text`, whose bytes `holder` owns. The slot is free when the address needs
    /// more than 48 bits.
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

    /// Returns the address of the text or, if it is long, of its std::string.
    const void* GetAddress() const {
        return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(m_bits >> 16));
    }

    /// Returns a text that is not long.
    std::string_view GetText() const {
        return std::string_view(static_cast<const char*>(GetAddress()), GetSize());
    }

    /// Returns the std::string of a long text.
    const std::string& GetHolder() const { return *static_cast<const std::string*>(GetAddress()); }

private:
    static constexpr std::size_t LONG_TEXT = 255; ///< the greatest size that fits into its byte

    std::size_t GetSize() const { return m_bits >> 8 & 0xff; }

    std::uint64_t m_bits = 0;
};

} // namespace kwlookup
