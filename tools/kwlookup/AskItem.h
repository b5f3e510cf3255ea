// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "ItemList.h"

#include <cstddef>
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

/// Has the memory brought that exact searches of `list` for `count` texts, at most READ_AHEAD, will
/// read. Other searches wait for the memory of all their keys at once already.
void FetchItems(const ItemList& list, const std::string* texts, std::size_t count, int flags);

/// Asks one item of a list about `text`; `flags` are KwFindFlags. Overwrites the
/// result and the value of `answer`, which count after a match only.
ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer);

} // namespace kwlookup
