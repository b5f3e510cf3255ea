// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/MadeOnce.h"
#include "lookup/builtin/SortedOrder.h"
#include "lookup/builtin/TextIndex.h"
#include "text/LocaleBytes.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Answers like a binary search in a list of strings that std::sort has sorted, by bytes as
/// unsigned values or by upper-case forms.
///
/// A hash index answers where its answer is provably that of the binary search:
///   - the search is in the order of the sort, with the same upper-case table, and
///   - when case matters, no string holds a byte above 0x7f. The sort compares bytes as unsigned
///     values and the search as signed ones; below 0x80 the two orders are the same.
/// In all other cases the binary search runs. The sorted order is made when it is first needed.
///
/// The strings belong to the caller and must neither change nor move while this object lives.
/// Memory: 15.5 bytes a string for the index, 4 for the order where needed.
/// Threads: searches may run at once. They take no lock and throw std::bad_alloc only.
class SortedStrings {
public:
    /// Sorts by bytes or, when `nocase` is not null, by its upper-case forms, which are copied.
    /// Throws std::bad_alloc, and std::length_error for too many strings.
    SortedStrings(const std::vector<std::string>& strings, const LocaleBytes* nocase);

    /// Returns the first of the equal strings that a binary search finds, which compares bytes as
    /// signed values. Its data() is null when there is none. `fetched` is what Fetch() has stored
    /// for the text, or null.
    std::string_view Find(std::string_view text, const FetchedKeys* fetched) const;

    /// Returns the first of the equal strings that a binary search by the upper-case forms of
    /// `bytes` finds. Its data() is null when there is none.
    std::string_view FindNoCase(std::string_view text, const LocaleBytes& bytes,
                                const FetchedKeys* fetched) const;

    /// Loads into the cache what such searches need, by the upper-case forms of `nocase` or, when
    /// it is null, by bytes.
    void Fetch(const TextIndex::Question* questions, std::size_t count,
               const LocaleBytes* nocase) const;

    /// Returns the positions of the strings in sorted order.
    const SortedOrder& GetOrder() const;

    /// Moves the strings out of `strings`, the vector given to the constructor, in sorted order.
    std::vector<std::string> TakeInOrder(std::vector<std::string>& strings) const;

private:
    void MakeIndex(const LocaleBytes* nocase);
    bool HasUpperOf(const LocaleBytes& bytes) const;

    const std::vector<std::string>& m_strings;
    const bool m_nocase;
    LocaleBytes::Table m_upper{};
    bool m_ascii_upper = false;
    std::unique_ptr<const TextIndex> m_index; ///< null when only the binary search may answer
    MadeOnce<SortedOrder> m_order;
};

} // namespace kwlookup
