// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwVectorStrLookup.h"

#include "lookup/KwKeyedFinder.h"
#include "lookup/builtin/SortedStrings.h"
#include "text/LocaleBytes.h"

#include <string_view>

namespace {

/// From this many strings on, an index answers sooner than a walk.
constexpr std::size_t LONG_LIST = 64;

} // namespace

KwVectorStrLookup::KwVectorStrLookup() : m_sorted(false), m_log(nullptr) {}

KwVectorStrLookup::~KwVectorStrLookup() = default;

void KwVectorStrLookup::InitLog(const LogClass& log) {
    m_log = &log;
}

const LogClass* KwVectorStrLookup::GetLogPtr() const {
    return m_log;
}

void KwVectorStrLookup::Push(std::string& value) {
    if (m_sorted.load(std::memory_order_relaxed)) {
        m_strings = m_order->TakeInOrder(m_strings);
        m_sorted.store(false, std::memory_order_relaxed);
        m_order.reset();
    }
    DropKeyIndex();
    m_strings.push_back(value);
}

void KwVectorStrLookup::Replace(std::vector<std::string>&& strings) {
    m_sorted.store(false, std::memory_order_relaxed);
    m_order.reset();
    DropKeyIndex();
    m_strings = std::move(strings);
}

void KwVectorStrLookup::DropKeyIndex() {
    m_has_key_index.store(false, std::memory_order_relaxed);
    m_key_index.reset();
}

bool KwVectorStrLookup::Find(const KwLookupFinder& finder, std::string* res, int flags,
                             std::string* matched) const {
    if (!(flags & FIND_EXACT))
        return Walk(finder, res, matched);

    const bool nocase = flags & FIND_NOCASE;
    const SortedStrings& order = m_sorted.load(std::memory_order_acquire) ? *m_order : Sort(nocase);
    const std::string_view text = ViewOf(finder.GetRequest());
    const std::string_view found =
        nocase ? order.FindNoCase(text, LocaleBytes::Current()) : order.Find(text);
    if (!found.data())
        return false;
    if (matched)
        matched->assign(found);
    return true;
}

const SortedStrings& KwVectorStrLookup::Sort(bool nocase) const {
    boost::mutex::scoped_lock lock(m_lock);
    if (!m_sorted.load(std::memory_order_relaxed)) {
        m_order = nocase ? std::make_unique<SortedStrings>(m_strings, LocaleBytes::Current())
                         : std::make_unique<SortedStrings>(m_strings);
        m_sorted.store(true, std::memory_order_release);
    }
    return *m_order;
}

bool KwVectorStrLookup::Walk(const KwLookupFinder& finder, std::string* res,
                             std::string* matched) const {
    std::string_view found;
    if (!FindByKeys(finder, found))
        found = FindFirst(finder);
    if (found.data()) {
        if (matched)
            matched->assign(found);
        return true;
    }
    *res = finder.GetRes();
    finder.ClearRes();
    return !res->empty();
}

std::string_view KwVectorStrLookup::FindFirst(const KwLookupFinder& finder) const {
    if (m_sorted.load(std::memory_order_acquire)) {
        for (const auto position : m_order->Order())
            if (finder.Match(m_strings[position]))
                return m_strings[position];
    } else {
        for (const std::string& value : m_strings)
            if (finder.Match(value))
                return value;
    }
    return std::string_view();
}

bool KwVectorStrLookup::FindByKeys(const KwLookupFinder& finder, std::string_view& found) const {
    if (m_strings.size() < LONG_LIST)
        return false;
    const auto* keyed = dynamic_cast<const KwKeyedFinder*>(&finder);
    if (!keyed)
        return false;
    const SortedStrings& order = m_sorted.load(std::memory_order_acquire) ? *m_order : KeyIndex();
    return order.FindFirstOf(keyed->GetKeys(), LocaleBytes::Current(), found);
}

const SortedStrings& KwVectorStrLookup::KeyIndex() const {
    if (!m_has_key_index.load(std::memory_order_acquire)) {
        const boost::mutex::scoped_lock lock(m_lock);
        if (!m_has_key_index.load(std::memory_order_relaxed)) {
            m_key_index = std::make_unique<SortedStrings>(m_strings, LocaleBytes::Current(),
                                                          SortedStrings::AS_LISTED);
            m_has_key_index.store(true, std::memory_order_release);
        }
    }
    return *m_key_index;
}
