// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwVectorStrLookup.h"

#include "lookup/builtin/SortedStrings.h"
#include "text/LocaleBytes.h"

#include <string_view>

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
    m_strings.push_back(value);
}

void KwVectorStrLookup::Replace(std::vector<std::string>&& strings) {
    m_sorted.store(false, std::memory_order_relaxed);
    m_order.reset();
    m_strings = std::move(strings);
}

bool KwVectorStrLookup::Find(const KwLookupFinder& finder, std::string* res, int flags,
                             std::string* matched) const {
    if (!(flags & FIND_EXACT))
        return Walk(finder, res, matched);

    const bool nocase = flags & FIND_NOCASE;
    const SortedStrings& order = m_sorted.load(std::memory_order_acquire) ? *m_order : Sort(nocase);
    const KwTextRange request = finder.GetRequest();
    const std::string_view text =
        request.empty() ? std::string_view() : std::string_view(&*request.begin(), request.size());
    const std::string* found =
        nocase ? order.FindNoCase(text, LocaleBytes::Current().UpperTable()) : order.Find(text);
    if (!found)
        return false;
    if (matched)
        *matched = *found;
    return true;
}

const SortedStrings& KwVectorStrLookup::Sort(bool nocase) const {
    boost::mutex::scoped_lock lock(m_lock);
    if (!m_sorted.load(std::memory_order_relaxed)) {
        m_order =
            nocase ? std::make_unique<SortedStrings>(m_strings, LocaleBytes::Current().UpperTable())
                   : std::make_unique<SortedStrings>(m_strings);
        m_sorted.store(true, std::memory_order_release);
    }
    return *m_order;
}

bool KwVectorStrLookup::Walk(const KwLookupFinder& finder, std::string* res,
                             std::string* matched) const {
    const auto found = [&](const std::string& value) {
        if (!finder.Match(value))
            return false;
        if (matched)
            *matched = value;
        return true;
    };
    if (m_sorted.load(std::memory_order_acquire)) {
        for (const auto position : m_order->Order())
            if (found(m_strings[position]))
                return true;
    } else {
        for (const std::string& value : m_strings)
            if (found(value))
                return true;
    }
    *res = finder.GetRes();
    finder.ClearRes();
    return !res->empty();
}
