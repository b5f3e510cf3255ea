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
/// The strings belong to the caller and must neither change nor move while this object lives.
/// Memory: 15 bytes a string for the index, 4 for the order where it is needed.
/// Threads: searches may run at once; making the order takes a lock, once.
class SortedStrings {
public:
    /// The order by bytes. Throws std::bad_alloc or std::length_error (too many strings).
    explicit SortedStrings(const std::vector<std::string>& strings);

    /// The order by the upper-case forms of `upper`, which is copied.
    SortedStrings(const std::vector<std::string>& strings, const LocaleBytes::Table& upper);

    SortedStrings(const SortedStrings&) = delete;
    SortedStrings& operator=(const SortedStrings&) = delete;

    /// What a binary search with regard to case, which takes bytes as signed, finds: the first of
    /// the equal strings, or null.
    const std::string* Find(std::string_view text) const;

    /// What a binary search by the upper-case forms of `upper` finds: the first of the equal
    /// strings, or null.
    const std::string* FindNoCase(std::string_view text, const LocaleBytes::Table& upper) const;

    /// The positions of the strings in sorted order.
    const std::vector<std::uint32_t>& Order() const;

    /// Moves the strings out of `strings`, which is the vector that the order was made of.
    std::vector<std::string> TakeInOrder(std::vector<std::string>& strings) const;

private:
    /// An entry of the index: position + 1 in the upper half, part of the hash in the lower; 0 is
    /// a free place.
    using Slot = std::uint64_t;

    void BuildIndex();
    template <typename Fold>
    bool Insert(const Fold& fold, std::uint32_t position);
    template <typename Fold>
    bool InsertAll(const Fold& fold, const std::vector<std::uint32_t>* order);
    template <typename Fold>
    const std::string* Probe(const Fold& fold, std::string_view text) const;
    template <typename Less>
    const std::string* BinarySearch(std::string_view text, Less less) const;

    const std::vector<std::string>& m_strings;
    const bool m_nocase;
    LocaleBytes::Table m_upper{};
    bool m_ascii_upper = false; ///< m_upper changes a to z, and nothing else
    bool m_indexed = false;
    std::uint64_t m_seed[2] = {};
    std::vector<Slot> m_slots;

    mutable std::mutex m_order_lock;
    mutable std::atomic<bool> m_ordered{false};
    mutable std::vector<std::uint32_t> m_order;
};
