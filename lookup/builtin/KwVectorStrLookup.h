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

/// A list of strings; the base of lookups that hold one.
///
/// A search without FIND_EXACT walks the list in its order. The first exact search sorts the list,
/// once, in the order of its own flags: by bytes, or with FIND_NOCASE by upper-case forms under the
/// global locale. That order stays until the next Push(). Every exact search answers as a binary
/// search in the order of its own flags answers, even where the list was sorted in the other one,
/// so a list is meant for one kind of search.
///
/// For a finder that names its keys (KeyedFinder, AddressFinder among them), a search of 64
/// strings and more without FIND_EXACT asks an index and calls Match() only for the strings that
/// have one of the keys, in the order of the walk: the same answer. The first such search makes the
/// index. It is a walk after all where the index cannot be made, or where the global locale has
/// changed since.
///
/// Cost at 1,000,000 strings: a walk is linear, 15 to 30 ms; an exact search in the order of the
/// sort and a search by keys are a few hash look-ups, 0.1 to 0.4 us. A search by keys also calls
/// Match() for each string that has one, until one matches; for an AddressFinder that is the first
/// one, or one of a few. A text of 64 KiB costs it less than 50 us, even where the list has a
/// thousand different sizes, or lines as long. An exact search in another order, or with regard to
/// case where the list has bytes above 0x7f, is a binary search. Memory beside the strings: at most
/// 16 bytes a string for exact searches, 4 more where the order itself is needed (equal strings in
/// different letter case, bytes above 0x7f, a walk after an exact search); at most 23 for searches
/// by keys, once for each part of a value that keys are compared with, as much again when such
/// searches go on after the sort, and as much again when a text of several words is asked whose
/// first word many strings begin with.
///
/// Threads: searches may run at once, walks beside the first exact search too. Only the first exact
/// search takes a lock. Filling the list is not guarded. At most 4,294,967,294 strings can be
/// sorted.
class KW_EXPORT KwVectorStrLookup : public KwIfLookup {
public:
    KwVectorStrLookup();
    ~KwVectorStrLookup() override;
    KwVectorStrLookup(const KwVectorStrLookup&) = delete;
    KwVectorStrLookup& operator=(const KwVectorStrLookup&) = delete;

    /// Keeps the address of `log`, which must outlive the object.
    void InitLog(const LogClass& log) override;
    const LogClass* GetLogPtr() const override;

    /// Without FIND_EXACT: the first string that the finder's Match accepts. When it accepts none,
    /// the finder's own result goes to `*res` (which must not be null), and the search matched
    /// exactly when it is not empty. With FIND_EXACT `res` is not written; see above.
    /// The first exact search throws a lock error (boost::lock_error), std::bad_alloc or
    /// std::length_error when the list cannot be sorted. Beside that, a search throws what the
    /// finder throws, and std::bad_alloc.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

    /// Brings into the processor's cache what searches for `count` finders with `flags` will read,
    /// so that they need not wait for memory one by one; null finders are passed over. Asks each
    /// finder for its text or its keys. A hint: it changes no answer, makes no index, throws
    /// nothing, and costs less than half of what it saves on a list that fits no cache. Worth its
    /// cost for 8 to 32 finders at a time.
    void Fetch(const KwLookupFinder* const* finders, std::size_t count, int flags) const noexcept;

    /// Appends a copy of `value`; the next exact search sorts again. Not guarded.
    void Push(std::string& value);

    /// The number of stored strings.
    std::size_t GetCount() const { return m_strings.size(); }

protected:
    /// Takes `strings` as the whole list, unsorted. Not guarded; does not throw.
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
    /// The sorted order of m_strings, set while m_sorted is true. The strings themselves stay where
    /// they are, so that a walk beside the first exact search reads what nobody writes.
    mutable std::unique_ptr<const kwlookup::SortedStrings> m_order;
    const std::unique_ptr<kwlookup::KeyIndexes> m_key_indexes;
};
