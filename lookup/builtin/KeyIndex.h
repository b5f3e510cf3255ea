// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/FoldedHash.h"
#include "lookup/builtin/HashFilter.h"
#include "lookup/builtin/KeySource.h"
#include "lookup/builtin/MadeOnce.h"
#include "lookup/builtin/PartShapes.h"
#include "lookup/builtin/SortedOrder.h"
#include "lookup/builtin/TextSlot.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A hash index of the parts of strings that keys of finders are compared with. Letter case is
/// ignored, by upper-case forms.
///
/// The strings belong to the caller and must neither change nor move.
/// Memory: 19 bytes a string, and 4 more when a part occurs in several strings. The same again for
/// an index of whole strings, which is made when a finder looks for a text whose first word occurs
/// in many strings.
class KeyIndex {
public:
    /// Indexes `strings` in their own order, or in `order` unless that is null. Copies the tables
    /// of `bytes`. Throws std::bad_alloc, and another std::exception when the system has no random
    /// numbers.
    KeyIndex(const std::vector<std::string>& strings, const SortedOrder* order,
             KeyedFinder::KeyPart part, const LocaleBytes& bytes);

    /// Returns false when the index cannot be used with `bytes`, the tables of the global locale.
    bool AnswersUnder(const LocaleBytes& bytes) const {
        return m_usable && bytes.SameTables(m_bytes);
    }

    enum class Answer {
        Match,
        NoMatch,
        Unknown ///< the finder did not name its keys; Match() was not called
    };

    /// Calls Match() for each string that has one of the finder's keys, in order, until one
    /// matches, and sets `found` to that one. Throws what Match() throws, and std::bad_alloc before
    /// the first Match().
    Answer Find(const KwLookupFinder& finder, const KeySource& source,
                const std::string*& found) const;

    /// Loads into the cache what Find() needs for each finder that is not null, and stores in the
    /// finder which of its keys may be in the index. Takes at most AT_ONCE finders.
    void Fetch(const KwLookupFinder* const* finders, std::size_t count) const;

    /// The most finders for one call of Fetch().
    static constexpr std::size_t AT_ONCE = 32;

private:
    using Key = FetchedKeys::Key;
    class Keys;
    class Candidates;

    /// A TextSlot, and the rank, counted from 1, of the first string with the part. It has 12
    /// bytes, so that one memory access gets both.
    class Slot {
    public:
        Slot() = default;
        Slot(TextSlot text, std::uint32_t rank) : m_rank(rank) {
            std::memcpy(m_text, &text, sizeof(text));
        }
        TextSlot GetText() const {
            TextSlot text;
            std::memcpy(&text, m_text, sizeof(text));
            return text;
        }
        std::uint32_t GetRank() const { return m_rank; }

    private:
        std::uint32_t m_text[2] = {};
        std::uint32_t m_rank = 0;
    };

    const std::string& TextAt(std::uint32_t rank) const {
        return m_strings[m_order ? m_order->Get()[rank - 1] : rank - 1];
    }
    std::string_view PartOf(std::string_view text) const;
    template <typename Use>
    auto WithFold(const Use& use) const;
    template <typename Fold>
    void InsertAll(const Fold& fold);
    template <typename Fold>
    bool IsPartAt(const Fold& fold, TextSlot slot, std::string_view key) const;
    bool MayHold(const Key& key) const;
    bool AreMany(std::uint32_t rank) const;
    const KeyIndex* GetWholeValues() const;
    template <typename Use>
    void ForEachLike(std::string_view key, std::uint64_t hash, const Use& use) const;
    Slot FirstLike(const Key& key) const;
    template <typename Fold>
    std::size_t Probe(const Fold& fold, std::string_view key, std::uint64_t hash) const;
    Answer Ask(const KwLookupFinder& finder, const KeySource& source, const Key* begin,
               const Key* end, const std::string*& found) const;
    Answer AskOne(const KwLookupFinder& finder, const KeySource& source, const Key& key,
                  const std::string*& found) const;

    const std::vector<std::string>& m_strings;
    const SortedOrder* const m_order;
    const KeyedFinder::KeyPart m_part;
    const LocaleBytes m_bytes;
    bool m_usable;
    const HashSeed m_seed; ///< its first number identifies the index
    PartShapes m_shapes;
    std::size_t m_longest_string = 0;
    HashFilter m_filter;
    std::vector<Slot> m_slots;
    std::vector<std::uint32_t> m_next; ///< the rank of the next string with the same part, or 0
    MadeOnce<KeyIndex> m_whole_values; ///< for texts whose first word occurs in many strings
};

} // namespace kwlookup
