// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace kwlookup {

enum class Outcome {
    Found,
    NotFound,
    Unavailable ///< a list could not be asked
};

/// The answer to a Query, or to one of its asks.
///
/// The asks of a query are asked in order. The first that is found, or cannot be asked, answers, so
/// that a fault is never taken for "not found".
struct Reply {
    Outcome outcome = Outcome::NotFound;
    std::size_t ask = 0; ///< the ask that was found, or could not be asked
    /// Found: the result, or the stored value if it has none. Unavailable: a short reason in ASCII,
    /// without line ends and secrets.
    std::string text;
    bool has_result = false; ///< Found: `text` is a result, not a stored value

    // Only if the query says `explain`, and only when found.
    std::string item;
    std::string file;     ///< empty if the item has no file
    std::size_t line = 0; ///< 0 if unknown
};

} // namespace kwlookup
