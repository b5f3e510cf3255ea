// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "ItemList.h"

#include <string>

enum class ItemVerdict {
    Miss,
    Match,
    Fault ///< it could not answer, which has been told
};

/// Asks one item of a list about `text`; `flags` are KwFindFlags. Overwrites the
/// result and the value of `answer`, which count after a match only.
ItemVerdict AskItem(const ItemList::Item& item, const std::string& text, int flags,
                    const LogClass& log, Answer& answer);
