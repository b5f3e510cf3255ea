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

/// The finders of the texts that are asked next.
class FetchedFinders {
public:
    /// Prefetch the memory that searches of `list` for `count` texts, at most READ_AHEAD, will
    /// read. For searches by address it does so for the first file of the list only.
    void Fetch(const ItemList& list, const std::string* texts, std::size_t count, int flags);

    /// Returns the finder of the text at `number` for `item`, or null when there is none. It can be
    /// used for one search.
    const AddressFinder* Get(const ItemList::Item& item, std::size_t number) const {
        return &item == m_item ? &*m_finders[number] : nullptr;
    }

private:
    const ItemList::Item* m_item = nullptr;
    std::array<std::optional<AddressFinder>, READ_AHEAD> m_finders;
};

/// Ask one item of a list about `text`; `flags` are KwFindFlags. Overwrites the result and the
/// value of `answer`, which are valid after a match only. `finder`, if any, is an unused one for
/// `text`.
ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer, const AddressFinder* finder = nullptr);

} // namespace kwlookup
