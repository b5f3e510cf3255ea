// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// One answer: the item that matched a text, and its result.
struct Answer {
    std::string result; ///< empty for a plain match
    std::string value;  ///< the stored value that matched, if there is one
    std::string item;
    std::string file; ///< the file of the stored value, or empty

    /// The answer for `text` as it is printed.
    const std::string& Shown(const std::string& text) const {
        return !result.empty() ? result : !value.empty() ? value : text;
    }
};

} // namespace kwlookup
