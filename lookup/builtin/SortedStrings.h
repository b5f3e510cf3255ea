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

/// A list of strings as std::sort would leave it, and the answers of a binary search in it.
///
/// The order is by bytes as unsigned values or by upper-case forms. What can be seen of it is the
/// answer of a binary search, so a hash index answers wherever that answer is provably the same,
/// and the order itself is made when it is first needed:
///   - the search asks in the order of the sort, under the same upper-case table, and
///   - with regard to case, no string holds a byte above 0x7f (the sort takes bytes as unsigned,
///     the search as signed, and only below 0x80 these are one order).
/// Everywhere else the literal binary search runs.
///
/// The strings belong to the caller and must neither change nor move while this object lives.
/// Memory: 15.5 bytes a string for the index, 4 for the order where needed.
/// Threads: searches may run at once. They take no lock and throw std::bad_alloc only.
class SortedStrings {
public:
    /// By bytes, or by the upper-case forms of `nocase`, which are copied.
    /// Throws std::bad_alloc or std::length_error (too many strings).
    SortedStrings(const std::vector<std::string>& strings, const LocaleBytes* nocase);

    /// What a binary search with regard to case, which takes bytes as signed, finds: the first of
    /// the equal strings. Its data() is null where there is none.
    std::string_view Find(std::string_view text) const;

    /// What a binary search by the upper-case forms of `bytes` finds: the first of the equal
    /// strings. Its data() is null where there is none.
    std::string_view FindNoCase(std::string_view text, const LocaleBytes& bytes) const;

    /// Brings into the cache what such searches need.
    void Fetch(const std::string_view* texts, std::size_t count, bool nocase) const;

    /// The positions of the strings in sorted order.
    const SortedOrder& GetOrder() const;

    /// Moves the strings out of `strings`, which is the vector that the order was made of.
    std::vector<std::string> TakeInOrder(std::vector<std::string>& strings) const;

private:
    void MakeIndex(const LocaleBytes* nocase);

    const std::vector<std::string>& m_strings;
    const bool m_nocase;
    LocaleBytes::Table m_upper{};
    bool m_ascii_upper = false;
    std::unique_ptr<const TextIndex> m_index; ///< null where the binary search is to answer
    MadeOnce<SortedOrder> m_order;
};

} // namespace kwlookup
