// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// What a client asks with one request. A query without asks is answered at once, as not found:
/// with it, a session keeps the refusal of a request in the order of the answers.
struct Query {
    /// A text to look for in a list.
    struct Ask {
        std::size_t list; ///< the number of the list in the configuration, from 0
        std::string text; ///< with its case as sent; "<>" is the null sender
    };

    std::vector<Ask> asks; ///< in order: the first text that is found answers, unless `all`
    bool all = false;      ///< answer every ask
    bool explain = false;  ///< tell which item, file and line answered
    unsigned tag = 0;      ///< for the session's own use
    std::string context;   ///< for the session's own use
};

} // namespace kwlookup
