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

class SortedStrings;

/// A list of strings; the base of lookups that hold one.
///
/// A search without FIND_EXACT walks the list in its order. The first exact search sorts the list,
/// once, in the order of its own flags: by bytes, or with FIND_NOCASE by upper-case forms under the
/// global locale. That order stays until the next Push(). Every exact search answers as a binary
/// search in the order of its own flags answers, even where the list was sorted in the other one,
/// so a list is meant for one kind of search.
///
/// A walk for a KwKeyedFinder through a long list asks an index, made by the first such walk, for
/// the finder's keys: the same answer, and no sort. Where the list was sorted with regard to case,
/// or the global locale has changed since, it is a walk like any other.
///
/// Cost: a walk is linear; one by keys costs a hash look-up a key. An exact search of a list sorted
/// in its own order costs one hash look-up (about 0.1 us at 1,000,000 strings); in another order,
/// or when bytes above 0x7f are searched with regard to case, it costs a binary search. The sort
/// adds at most 16 bytes a string, the index of keys at most 24.
///
/// Threads: searches may run at once, walks beside the first exact search too; only the one-time
/// sort takes a lock. Filling the list is not guarded. At most 4,294,967,294 strings can be sorted.
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
    /// Throws a lock error (boost::lock_error) or std::bad_alloc when the list cannot be sorted.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

    /// Appends a copy of `value`; the next exact search sorts again. Not guarded.
    void Push(std::string& value);

    /// The number of stored strings.
    std::size_t GetCount() const { return m_strings.size(); }

protected:
    /// Takes `strings` as the whole list, unsorted. Not guarded; does not throw.
    void Replace(std::vector<std::string>&& strings);

private:
    const SortedStrings& Sort(bool nocase) const;
    bool Walk(const KwLookupFinder& finder, std::string* res, std::string* matched) const;
    std::string_view FindFirst(const KwLookupFinder& finder) const;
    bool FindByKeys(const KwLookupFinder& finder, std::string_view& found) const;
    const SortedStrings& KeyIndex() const;
    void DropKeyIndex();

    std::vector<std::string> m_strings;
    mutable std::atomic<bool> m_sorted;
    const LogClass* m_log;
    mutable boost::mutex m_lock;
    /// The sorted order of m_strings, set while m_sorted is true. The strings themselves stay where
    /// they are, so that a walk beside the first exact search reads what nobody writes.
    mutable std::unique_ptr<const SortedStrings> m_order;
    /// The list as it was filled, for walks by keys; set while m_has_key_index is true.
    mutable std::unique_ptr<const SortedStrings> m_key_index;
    mutable std::atomic<bool> m_has_key_index{false};
};
