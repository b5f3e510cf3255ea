// SPDX-License-Identifier: MIT
#include "tools/lists/AskItem.h"

#include "tools/lists/Report.h"

#include <algorithm>
#include <exception>
#include <new>

namespace kwlookup {

namespace {

const std::string& MatchedValue(const AddressFinder& finder, const std::string& matched) {
    return matched.empty() ? finder.GetMatchedValue() : matched;
}

const std::string& MatchedValue(const ExactFinder&, const std::string& matched) {
    return matched;
}

template <typename Finder>
bool AskWith(const ItemList::Item& item, const Finder& finder, int flags, Answer& answer) {
    answer.result.clear();
    answer.value.clear();
    // The holder of an item that failed to load is empty and finds nothing.
    if (!item.holder->Find(finder, &answer.result, flags, &answer.value))
        return false;
    // The holder puts a blank before each result.
    answer.result.erase(0, 1);
    answer.value = MatchedValue(finder, answer.value);
    return true;
}

std::string Question(const ItemList::Item& item, const std::string& text) {
    return "[" + Shortened(item.text) + "] could not answer for [" + Shortened(text) + "]";
}

} // namespace

void FetchedFinders::Fetch(const ItemList& list, const std::string* texts, std::size_t count,
                           int flags) {
    m_item = nullptr;
    m_exact = false;
    if (count < 2)
        return;
    std::array<const KwLookupFinder*, READ_AHEAD> pointers;
    if (flags & FIND_EXACT) {
        for (const ItemList::Item& item : list.GetItems()) {
            if (item.GetType() != "file")
                continue;
            // A finder without what another file has told.
            for (std::size_t i = 0; i < count; ++i) {
                m_exact_finders[i].SetText(texts[i]);
                pointers[i] = &m_exact_finders[i];
            }
            item.holder->Fetch(pointers.data(), count, flags);
            m_item = &item;
            m_exact = true;
        }
        return;
    }
    const auto item =
        std::find_if(list.GetItems().begin(), list.GetItems().end(),
                     [](const ItemList::Item& each) { return each.GetType() == "file"; });
    if (item == list.GetItems().end())
        return;
    try {
        for (std::size_t i = 0; i < count; ++i)
            pointers[i] = &Renew(m_finders[i], texts[i]);
    } catch (const std::bad_alloc&) { // AskItem() makes a finder for each text
        return;
    }
    item->holder->Fetch(pointers.data(), count, flags);
    m_item = &*item;
}

ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer, const FetchedFinders::Finder& finder) {
    if (finder.is_ruled_out)
        return ItemVerdict::Miss;
    try {
        const bool found = finder.exact         ? AskWith(item, *finder.exact, flags, answer)
                           : finder.address     ? AskWith(item, *finder.address, flags, answer)
                           : flags & FIND_EXACT ? AskWith(item, ExactFinder(text), flags, answer)
                                                : AskWith(item, AddressFinder(text), flags, answer);
        return found ? ItemVerdict::Match : ItemVerdict::Miss;
    } catch (const std::exception& error) {
        ReportError(log, Question(item, text) + ": " + error.what());
    } catch (...) { // a plug-in may throw anything
        ReportError(log, Question(item, text));
    }
    return ItemVerdict::Fault;
}

} // namespace kwlookup
