// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "ItemList.h"
#include "kwhost/AddressFinder.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace kwlookup {

enum class ItemVerdict {
    Miss,
    Match,
    Fault ///< it could not answer, which has been told
};

/// As many texts as are read ahead, when they are there already: enough to have the processor wait
/// for the memory of all of them at once.
constexpr std::size_t READ_AHEAD = 32;

/// The finders of the texts that are asked next.
class FetchedFinders {
public:
    /// Loads into the cache what searches of `list` for `count` texts, at most READ_AHEAD, will
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

/// Asks one item of a list about `text`; `flags` are KwFindFlags. Overwrites the
/// result and the value of `answer`, which count after a match only. `finder`, if any, is
/// one for `text` that has not been used.
ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer, const AddressFinder* finder = nullptr);

} // namespace kwlookup
