// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kwlookup {

/// The keys of a finder that may be in a list, with their hashes. KwVectorStrLookup::Fetch() stores
/// them in the finder for the next search. Usually there is at most one. For an exact search the
/// text is the key.
///
/// The keys point into the finder, so a copy of this object has none.
class FetchedKeys {
public:
    /// One key.
    struct Key {
        std::string_view text;        ///< the part of a stored value that it must equal
        std::uint64_t hash;           ///< of `text`
        std::string_view whole_value; ///< `text` is its first word; its data() is null without one
    };

    FetchedKeys() = default;
    /// The copy has no keys.
    FetchedKeys(const FetchedKeys&) {}
    /// Removes all keys.
    FetchedKeys& operator=(const FetchedKeys&) {
        m_index = 0;
        m_count = 0;
        return *this;
    }

    /// Removes all keys. The next ones are for the index with this number, which is not 0.
    void Begin(std::uint64_t index) {
        m_index = index;
        m_count = 0;
    }

    /// Adds a key. Drops all keys when there is no room for it.
    void Add(const Key& key) {
        if (m_count == m_keys.size())
            m_index = 0;
        else
            m_keys[m_count++] = key;
    }

    /// Returns false when the finder has to be called for its keys.
    bool AreOf(std::uint64_t index) const { return m_index == index; }

    /// Returns true when the index has none of the finder's keys.
    bool AreNone() const { return m_index != 0 && m_count == 0; }

    /// Returns the first key.
    const Key* begin() const { return m_keys.data(); }
    /// Returns the end of the keys.
    const Key* end() const { return m_keys.data() + m_count; }

private:
    std::uint64_t m_index = 0;
    std::size_t m_count = 0;
    std::array<Key, 4> m_keys; ///< a list rarely has more of a finder's keys
};

} // namespace kwlookup
