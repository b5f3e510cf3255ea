// SPDX-License-Identifier: MIT
#include "AskItem.h"

#include "Tell.h"
#include "host/AddressFinder.h"

#include <exception>

namespace {

/// The request of an exact search, which compares texts and asks the finder for nothing else.
class ExactFinder : public KwLookupFinder {
public:
    explicit ExactFinder(const std::string& text) : m_text(text) {}

    bool Match(const std::string& value) const override { return value == m_text; }
    KwTextRange GetRequest() const override { return KwTextRange(m_text.begin(), m_text.end()); }

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

} // namespace

ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer) {
    try {
        const bool found = flags & FIND_EXACT ? AskWith<ExactFinder>(item, text, flags, answer)
                                              : AskWith<AddressFinder>(item, text, flags, answer);
        return found ? ItemVerdict::Match : ItemVerdict::Miss;
    } catch (const std::exception& error) {
        TellError(log, "[" + item.text + "] could not answer for [" + text + "]: " + error.what());
    } catch (...) { // a plug-in may throw anything
        TellError(log, "[" + item.text + "] could not answer for [" + text + "]");
    }
    return ItemVerdict::Fault;
}
