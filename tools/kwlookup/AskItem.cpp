// SPDX-License-Identifier: MIT
#include "AskItem.h"

#include "Tell.h"
#include "kwhost/AddressFinder.h"

#include <array>
#include <exception>
#include <optional>

namespace kwlookup {

namespace {

/// The request of an exact search, which compares texts and asks the finder for nothing else.
class ExactFinder : public KwLookupFinder {
public:
    explicit ExactFinder(const std::string& text) : m_text(text) {}

    bool Match(const std::string& value) const override { return value == m_text; }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

private:
    const std::string& m_text;
};

const std::string& MatchedValue(const AddressFinder& finder, const std::string& matched) {
    return matched.empty() ? finder.GetMatchedValue() : matched;
}

const std::string& MatchedValue(const ExactFinder&, const std::string& matched) {
    return matched;
}

template <typename Finder>
bool AskWith(const ItemList::Item& item, const std::string& text, int flags, Answer& answer) {
    const Finder finder(text);
    answer.result.clear();
    answer.value.clear();
    // An item that was not loaded has an empty holder, which finds nothing.
    if (!item.holder->Find(finder, &answer.result, flags, &answer.value))
        return false;
    // The holder puts a blank before each result that it gathers.
    answer.result.erase(0, 1);
    answer.value = MatchedValue(finder, answer.value);
    return true;
}

std::string Question(const ItemList::Item& item, const std::string& text) {
    return "[" + Shortened(item.text) + "] could not answer for [" + Shortened(text) + "]";
}

} // namespace

void FetchItems(const ItemList& list, const std::string* texts, std::size_t count, int flags) {
    if (!(flags & FIND_EXACT) || count < 2)
        return;
    std::array<std::optional<ExactFinder>, READ_AHEAD> finders;
    std::array<const KwLookupFinder*, READ_AHEAD> pointers;
    for (std::size_t i = 0; i < count; ++i)
        pointers[i] = &finders[i].emplace(texts[i]);
    for (const ItemList::Item& item : list.GetItems())
        item.holder->Fetch(pointers.data(), count, flags);
}

ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer) {
    try {
        const bool found = flags & FIND_EXACT ? AskWith<ExactFinder>(item, text, flags, answer)
                                              : AskWith<AddressFinder>(item, text, flags, answer);
        return found ? ItemVerdict::Match : ItemVerdict::Miss;
    } catch (const std::exception& error) {
        TellError(log, Question(item, text) + ": " + error.what());
    } catch (...) { // a plug-in may throw anything
        TellError(log, Question(item, text));
    }
    return ItemVerdict::Fault;
}

} // namespace kwlookup
