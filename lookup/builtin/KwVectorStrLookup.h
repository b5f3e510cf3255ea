// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"

#include <boost/thread/mutex.hpp>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {
class KeyIndex;
class KeyIndexes;
class KeySource;
class SortedStrings;
} // namespace kwlookup

/// A list of strings, and the base of lookups that have one.
///
/// A search without FIND_EXACT walks the list in its order. The first search with FIND_EXACT sorts
/// the list: by bytes or, with FIND_NOCASE, by upper-case forms under the global locale. That order
/// stays until the next Push(). An exact search gives the answer of a binary search in the order of
/// its own flags. On a list that is sorted in the other order such a search can miss strings, so
/// use one kind of exact search for each list.
///
/// For a finder that names its keys, such as AddressFinder (see KeyedFinder), a search without
/// FIND_EXACT in a list of at least 64 strings uses an index. It calls Match() only for the strings
/// that have one of the keys, in the order of the walk, and so gives the same answer. The first
/// such search makes the index. When the index cannot be made, or the global locale has changed
/// since, the list is walked.
///
/// Cost, for 1,000,000 strings:
///   - A walk is linear, 15 to 30 ms.
///   - An exact search in the order of the sort is a hash look-up, and a search by keys a few of
///     them: 0.1 to 0.4 us. A search by keys also calls Match() for each string that has a key,
///     until one matches; for an AddressFinder the first or one of the first few does. A text of
///     64 KiB costs less than 50 us, even when the strings have a thousand different sizes or are
///     as long as the text.
///   - An exact search in the other order is a binary search. So is one without FIND_NOCASE when
///     the list has bytes above 0x7f.
///
/// Memory beside the strings, in bytes a string:
///   - exact searches: at most 16; and 4 more when the order itself is needed (strings that differ
///     in letter case only, bytes above 0x7f, a walk after an exact search);
///   - searches by keys: at most 23 for each part that keys are compared with; the same again for
///     such searches after the sort; the same again for a text of several words whose first word
///     many strings begin with.
///
/// Threads: searches may run at once. Only the first exact search takes a lock. Filling the list is
/// not guarded. A list of more than 4,294,967,294 strings cannot be sorted.
class KW_EXPORT KwVectorStrLookup : public KwIfLookup {
public:
    KwVectorStrLookup(); ///< Makes an empty list.
    ~KwVectorStrLookup() override;
    KwVectorStrLookup(const KwVectorStrLookup&) = delete;
    KwVectorStrLookup& operator=(const KwVectorStrLookup&) = delete;

    /// Keeps the address of `log`, which must outlive the object.
    void InitLog(const LogClass& log) override;
    const LogClass* GetLogPtr() const override;

    /// Without FIND_EXACT, finds the first string that the finder's Match() accepts. When there is
    /// none, sets `*res`, which must not be null, to the finder's own result; the search matched if
    /// that is not empty. With FIND_EXACT, searches as described above and does not write to `res`.
    ///
    /// Throws what the finder throws, and std::bad_alloc. The first exact search also throws
    /// boost::lock_error or std::length_error when the list cannot be sorted.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

    /// Loads into the processor's cache what searches for `count` finders with `flags` will read,
    /// so that they do not wait for memory one by one. Skips null finders. Calls each finder for
    /// its text or its keys. A KeyedFinder stores which of its keys, or whether its text, may be in
    /// the list, and the search does not find that out again. It is a hint: it changes no answer,
    /// makes no index and throws nothing. On a list that does not fit the cache it saves more than
    /// twice its cost, with 8 to 32 finders at a time.
    void Fetch(const KwLookupFinder* const* finders, std::size_t count, int flags) const noexcept;

    /// Appends a copy of `value`. The next exact search sorts again. Not guarded.
    void Push(std::string& value);

    /// Returns the number of stored strings.
    std::size_t GetCount() const { return m_strings.size(); }

protected:
    /// Replaces the list by `strings`, unsorted. Not guarded. Does not throw.
    void Replace(std::vector<std::string>&& strings);

private:
    const kwlookup::SortedStrings& Sort(bool nocase) const;
    const kwlookup::SortedStrings* GetSorted() const;
    bool Walk(const KwLookupFinder& finder, std::string* res, std::string* matched) const;
    const std::string* FindFirst(const KwLookupFinder& finder) const;
    const kwlookup::KeyIndex* IndexFor(const kwlookup::KeySource& source) const;
    void DropOrder();

    std::vector<std::string> m_strings;
    mutable std::atomic<bool> m_sorted;
    const LogClass* m_log;
    mutable boost::mutex m_lock;
    /// The sorted order of m_strings, set while m_sorted is true. The strings themselves do not
    /// move, so that a walk in another thread can go on during the sort.
    mutable std::unique_ptr<const kwlookup::SortedStrings> m_order;
    const std::unique_ptr<kwlookup::KeyIndexes> m_key_indexes;
};
