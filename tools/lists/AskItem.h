// SPDX-License-Identifier: MIT
#pragma once

#include "kwhost/AddressFinder.h"
#include "tools/lists/Answer.h"
#include "tools/lists/ItemList.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace kwlookup {

enum class ItemVerdict {
    Miss,
    Match,
    Fault ///< the item could not answer, and the error has been reported
};

/// The number of texts to read ahead: enough for the processor to fetch the memory of all of them
/// at once.
constexpr std::size_t READ_AHEAD = 32;

/// Returns `finder` as one for `text`. It keeps its memory from text to text.
inline const AddressFinder& Renew(std::optional<AddressFinder>& finder, const std::string& text) {
    if (finder)
        finder->SetText(text);
    else
        finder.emplace(text);
    return *finder;
}

/// The request of an exact search, which needs no more of a finder than its text. It is a
/// KeyedFinder only so that a list can store in it what Fetch() learns of the text.
class ExactFinder final : public KeyedFinder {
public:
    /// Without a text it must not be used.
    ExactFinder() = default;
    explicit ExactFinder(const std::string& text) : m_text(&text) {}

    /// Keeps the address of `text`.
    void SetText(const std::string& text) {
        m_text = &text;
        NoteNewKeys();
    }

    bool Match(const std::string& value) const override { return value == *m_text; }
    TextRange GetRequest() const override { return TextRange(m_text->begin(), m_text->end()); }
    KeyPart GetKeyPart() const override { return WholeValue; }
    bool GetKeys(FinderKeys& keys) const override {
        keys.Add(*m_text);
        return true;
    }

private:
    const std::string* m_text = nullptr;
};

/// The finders of the texts that are asked next.
class FetchedFinders {
public:
    /// A finder for one search. At most one pointer is not null.
    struct Finder {
        const AddressFinder* address = nullptr;
        const ExactFinder* exact = nullptr;
        bool is_ruled_out = false; ///< it would find nothing
    };

    /// Prefetch the memory that searches of `list` for `count` texts, at most READ_AHEAD, will
    /// read. For searches by address it does so for the first file of the list only. Keeps the
    /// addresses of the texts.
    void Fetch(const ItemList& list, const std::string* texts, std::size_t count, int flags);

    /// Returns the finder of the text at `number` for `item`, if there is one. An AddressFinder can
    /// be used for one search.
    Finder Get(const ItemList::Item& item, std::size_t number) const {
        if (m_exact) {
            const ExactFinder& finder = m_exact_finders[number];
            return {nullptr, &finder, &item == m_item && finder.IsRuledOut()};
        }
        if (&item != m_item)
            return {};
        const AddressFinder& finder = *m_finders[number];
        return {&finder, nullptr, finder.IsRuledOut()};
    }

private:
    bool m_exact = false;
    std::array<ExactFinder, READ_AHEAD> m_exact_finders;
    const ItemList::Item* m_item = nullptr; ///< whose list was fetched from last
    std::array<std::optional<AddressFinder>, READ_AHEAD> m_finders;
};

/// Ask one item of a list about `text`; `flags` are KwFindFlags. Overwrites the result and the
/// value of `answer`, which are valid after a match only. `finder` is for `text`, if it is any.
ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer, const FetchedFinders::Finder& finder = {});

} // namespace kwlookup
