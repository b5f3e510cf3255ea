// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/FetchedKeys.h"
#include "lookup/builtin/FoldedHash.h"
#include "lookup/builtin/HashFilter.h"
#include "lookup/builtin/SortedOrder.h"
#include "lookup/builtin/TextSlot.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A hash index of whole strings, by their bytes or by their upper-case forms.
///
/// The strings belong to the caller and must neither change nor move.
/// Memory: 15.5 bytes a string.
class TextIndex {
public:
    /// Indexes `strings` by bytes or, when `nocase` is not null, by its upper-case forms, which are
    /// copied. Keeps the first of equal strings, in their own order or, unless it is null, in
    /// `order`. Throws std::bad_alloc, and another std::exception when the system has no random
    /// numbers.
    TextIndex(const std::vector<std::string>& strings, const LocaleBytes* nocase,
              const SortedOrder* order = nullptr);

    /// Returns true when the address of a string does not fit into a slot. The index must not be
    /// used then.
    bool IsUnfit() const { return m_unfit; }

    /// Returns true when no string has a byte above 0x7f. When one has, an index by bytes is not
    /// finished.
    bool IsAscii() const { return m_ascii; }

    /// Returns true when strings that are equal under the index differ in their bytes.
    bool IsAmbiguous() const { return m_ambiguous; }

    /// A text that Find() will be asked for, and where Fetch() stores what it learns of it. That
    /// may be null.
    struct Question {
        std::string_view text;
        FetchedKeys* fetched;
    };

    /// Returns the string that equals `text`. Its data() is null when there is none. `fetched` is
    /// that of the question, or null.
    std::string_view Find(std::string_view text, const FetchedKeys* fetched) const;

    /// Loads into the cache what Find() needs for each of `questions`.
    void Fetch(const Question* questions, std::size_t count) const;

private:
    template <typename Use>
    auto WithFold(const Use& use) const;
    template <typename Fold>
    void InsertAll(const Fold& fold, const std::vector<std::string>& strings,
                   const SortedOrder* order);
    template <typename Fold>
    std::size_t Probe(const Fold& fold, std::string_view text, std::uint64_t hash) const;

    const bool m_nocase;
    LocaleBytes::Table m_upper{};
    UpperRanges m_ranges;
    const bool m_ascii_upper; ///< m_upper changes a to z only
    bool m_ascii = true;      ///< of an index by bytes
    bool m_unfit = false;
    bool m_ambiguous = false;
    const HashSeed m_seed;
    HashFilter m_filter;
    std::vector<TextSlot> m_slots;
};

} // namespace kwlookup
