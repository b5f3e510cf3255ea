// SPDX-License-Identifier: MIT
#pragma once

#include "text/LocaleBytes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// The sorted order of a list of strings, and the answers of a binary search in it.
///
/// The order is that of std::sort over the strings, by bytes as unsigned values or by upper-case
/// forms. What can be seen of it is the answer of a binary search, so a hash index answers wherever
/// that answer is provably the same, and the order itself is made when it is first needed:
///   - the search asks in the order of the sort, under the same upper-case table, and
///   - with regard to case, no string holds a byte above 0x7f (the sort takes bytes as unsigned,
///     the search as signed, and only below 0x80 these are one order).
/// Everywhere else the literal binary search runs.
///
/// The same index serves a list in the order that it has, for walks that look for a few keys.
///
/// The strings belong to the caller and must neither change nor move while this object lives.
/// Memory: 15.5 bytes a string for the index, 4 for the order where needed, 8 for the positions in
/// a list as it is.
/// Threads: searches may run at once; making the order takes a lock, once.
class SortedStrings {
public:
    /// The order by bytes. Throws std::bad_alloc or std::length_error (too many strings).
    explicit SortedStrings(const std::vector<std::string>& strings);

    /// The order by the upper-case forms of `bytes`, which are copied.
    SortedStrings(const std::vector<std::string>& strings, const LocaleBytes& bytes);

    /// The order that the list has, with an index by the upper-case forms of `bytes`.
    enum AsListed { AS_LISTED };
    SortedStrings(const std::vector<std::string>& strings, const LocaleBytes& bytes, AsListed);

    SortedStrings(const SortedStrings&) = delete;
    SortedStrings& operator=(const SortedStrings&) = delete;

    /// What a binary search with regard to case, which takes bytes as signed, finds: the first of
    /// the equal strings. Its data() is null where there is none.
    std::string_view Find(std::string_view text) const;

    /// What a binary search by the upper-case forms of `bytes` finds: the first of the equal
    /// strings. Its data() is null where there is none.
    std::string_view FindNoCase(std::string_view text, const LocaleBytes& bytes) const;

    /// The first string, in this order, that equals one of `keys` by the upper-case forms of
    /// `bytes`. False when the index cannot tell, or not faster than a walk.
    bool FindFirstOf(const std::vector<std::string_view>& keys, const LocaleBytes& bytes,
                     std::string_view& found) const;

    /// The positions of the strings in sorted order. Not for a list as it is.
    const std::vector<std::uint32_t>& Order() const;

    /// Moves the strings out of `strings`, which is the vector that the order was made of.
    std::vector<std::string> TakeInOrder(std::vector<std::string>& strings) const;

private:
    enum class Inserted {
        All,
        Ambiguous, ///< some that are equal differ in their bytes
        Unfit      ///< some are at an address that an index cannot hold
    };

    void BuildIndex();
    template <typename Fold>
    Inserted InsertAll(const Fold& fold, const std::vector<std::uint32_t>* order);
    bool MayHold(std::uint64_t hash) const;
    template <typename Fold>
    std::size_t Probe(const Fold& fold, std::string_view text, std::uint64_t hash) const;
    template <typename Fold>
    std::string_view Lookup(const Fold& fold, std::string_view text) const;
    template <typename Fold>
    std::string_view LookupFirst(const Fold& fold, const std::vector<std::string_view>& keys) const;
    template <typename Less>
    std::string_view BinarySearch(std::string_view text, Less less) const;

    const std::vector<std::string>& m_strings;
    const bool m_nocase;
    const bool m_as_listed = false;
    LocaleBytes::Table m_upper{};
    bool m_ascii_upper = false; ///< m_upper changes a to z, and nothing else
    bool m_indexed = false;
    std::uint64_t m_seed[2] = {};
    std::vector<std::uint64_t> m_slots;
    std::vector<std::uint64_t> m_filter;    ///< of the hashes in m_slots
    std::vector<std::uint32_t> m_positions; ///< of the strings in m_slots, in a list as it is
    std::size_t m_longest = 0;

    mutable std::mutex m_order_lock;
    mutable std::atomic<bool> m_ordered{false};
    mutable std::vector<std::uint32_t> m_order;
};
