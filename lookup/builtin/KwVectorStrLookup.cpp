// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwVectorStrLookup.h"

#include "lookup/builtin/KeyIndex.h"
#include "lookup/builtin/KeySource.h"
#include "lookup/builtin/MadeOnce.h"
#include "lookup/builtin/SortLock.h"
#include "lookup/builtin/SortedStrings.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string_view>

namespace {

using namespace kwlookup;

/// From this many strings on, an index is faster than a walk.
constexpr std::size_t LONG_LIST = 64;

} // namespace

/// The key indexes of one list: one for each part of a value in list order, and one in sorted
/// order. The first search that needs an index makes it.
class kwlookup::KeyIndexes {
public:
    /// Returns null before the index is made.
    const KeyIndex* Get(KeyedFinder::KeyPart part, bool sorted) const {
        return m_indexes[part][sorted].Get();
    }

    /// Returns the index of `strings` in `order` or, when that is null, in their own order. Throws
    /// what the constructor of KeyIndex throws.
    const KeyIndex& GetOrMake(const std::vector<std::string>& strings, const SortedOrder* order,
                              KeyedFinder::KeyPart part, const LocaleBytes& bytes) const {
        return m_indexes[part][order != nullptr].GetOrMake(
            [&] { return std::make_unique<const KeyIndex>(strings, order, part, bytes); });
    }

    void Reset() {
        for (auto& of_part : m_indexes)
            for (auto& index : of_part)
                index.Reset();
    }

private:
    MadeOnce<KeyIndex> m_indexes[2][2];
};

KwVectorStrLookup::KwVectorStrLookup()
    : m_sorted(false), m_log(nullptr), m_key_indexes(std::make_unique<KeyIndexes>()) {}

KwVectorStrLookup::~KwVectorStrLookup() = default;

void KwVectorStrLookup::InitLog(const LogClass& log) {
    m_log = &log;
}

const LogClass* KwVectorStrLookup::GetLogPtr() const {
    return m_log;
}

void KwVectorStrLookup::Push(std::string& value) {
    if (m_sorted.load(std::memory_order_relaxed))
        m_strings = m_order->TakeInOrder(m_strings);
    DropOrder();
    m_strings.push_back(value);
}

void KwVectorStrLookup::Replace(std::vector<std::string>&& strings) {
    DropOrder();
    m_strings = std::move(strings);
}

void KwVectorStrLookup::DropOrder() {
    m_key_indexes->Reset(); // they may refer to the order
    m_sorted.store(false, std::memory_order_relaxed);
    m_order.reset();
}

bool KwVectorStrLookup::Find(const KwLookupFinder& finder, std::string* res, int flags,
                             std::string* matched) const {
    if (!(flags & FIND_EXACT))
        return Walk(finder, res, matched);

    const bool nocase = flags & FIND_NOCASE;
    const SortedStrings* const sorted = GetSorted();
    const SortedStrings& order = sorted ? *sorted : Sort(nocase);
    const std::string_view text = ViewOf(finder.GetRequest());
    const FetchedKeys* const fetched = KeySource(finder).GetFetched();
    const std::string_view found = nocase ? order.FindNoCase(text, LocaleBytes::Current(), fetched)
                                          : order.Find(text, fetched);
    if (!found.data())
        return false;
    if (matched)
        matched->assign(found);
    return true;
}

const SortedStrings* KwVectorStrLookup::GetSorted() const {
    return m_sorted.load(std::memory_order_acquire) ? m_order.get() : nullptr;
}

const SortedStrings& KwVectorStrLookup::Sort(bool nocase) const {
    boost::mutex::scoped_lock lock(SortLock(m_lock));
    if (!m_sorted.load(std::memory_order_relaxed)) {
        m_order =
            std::make_unique<SortedStrings>(m_strings, nocase ? &LocaleBytes::Current() : nullptr);
        m_sorted.store(true, std::memory_order_release);
    }
    return *m_order;
}

bool KwVectorStrLookup::Walk(const KwLookupFinder& finder, std::string* res,
                             std::string* matched) const {
    const std::string* found = FindFirst(finder);
    if (found) {
        if (matched)
            matched->assign(*found);
        return true;
    }
    *res = finder.GetRes();
    finder.ClearRes();
    return !res->empty();
}

/// Returns the first string that the finder's Match() accepts, or null.
const std::string* KwVectorStrLookup::FindFirst(const KwLookupFinder& finder) const {
    if (m_strings.size() >= LONG_LIST) {
        if (const KeySource source(finder); source) {
            if (const KeyIndex* const index = IndexFor(source)) {
                const std::string* found = nullptr;
                switch (index->Find(finder, source, found)) {
                case KeyIndex::Answer::Match:
                    return found;
                case KeyIndex::Answer::NoMatch:
                    return nullptr;
                case KeyIndex::Answer::Unknown:
                    break;
                }
            }
        }
    }
    if (const SortedStrings* const sorted = GetSorted()) {
        for (const auto position : sorted->GetOrder().Get())
            if (finder.Match(m_strings[position]))
                return &m_strings[position];
    } else {
        for (const std::string& value : m_strings)
            if (finder.Match(value))
                return &value;
    }
    return nullptr;
}

/// Returns null when the list must be walked.
const KeyIndex* KwVectorStrLookup::IndexFor(const KeySource& source) const {
    if (m_strings.size() >= std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    const KeyedFinder::KeyPart part = source.GetKeyPart();
    if (part != KeyedFinder::WholeValue && part != KeyedFinder::FirstWord)
        return nullptr; // from a later version of this library
    const LocaleBytes& bytes = LocaleBytes::Current();
    const SortedStrings* const sorted = GetSorted();
    const KeyIndex* index = m_key_indexes->Get(part, sorted != nullptr);
    if (!index) {
        if (!source.NamesKeys())
            return nullptr;
        try {
            index = &m_key_indexes->GetOrMake(m_strings, sorted ? &sorted->GetOrder() : nullptr,
                                              part, bytes);
        } catch (const std::exception&) { // a walk needs no index
            return nullptr;
        }
    }
    return index->AnswersUnder(bytes) ? index : nullptr;
}

void KwVectorStrLookup::Fetch(const KwLookupFinder* const* finders, std::size_t count,
                              int flags) const noexcept {
    constexpr std::size_t AT_ONCE = KeyIndex::AT_ONCE; // more would not pay, see the header
    try {
        const SortedStrings* const sorted = GetSorted();
        for (; count != 0; finders += std::min(count, AT_ONCE), count -= std::min(count, AT_ONCE)) {
            const std::size_t size = std::min(count, AT_ONCE);
            if (!(flags & FIND_EXACT)) {
                for (const auto part : {KeyedFinder::WholeValue, KeyedFinder::FirstWord})
                    if (const KeyIndex* index = m_key_indexes->Get(part, sorted != nullptr);
                        index && index->AnswersUnder(LocaleBytes::Current()))
                        index->Fetch(finders, size);
            } else if (sorted) {
                std::array<TextIndex::Question, AT_ONCE> questions;
                std::size_t asked = 0;
                for (std::size_t i = 0; i < size; ++i)
                    if (finders[i])
                        questions[asked++] = {ViewOf(finders[i]->GetRequest()),
                                              KeySource(*finders[i]).GetFetched()};
                sorted->Fetch(questions.data(), asked,
                              flags & FIND_NOCASE ? &LocaleBytes::Current() : nullptr);
            }
        }
    } catch (...) { // only a hint
    }
}
