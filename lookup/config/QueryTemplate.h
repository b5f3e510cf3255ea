// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The template of a lookup, which becomes a key or a value with the searched text put in; see
/// KwLookupWithConfig for its codes.
///
/// Threads: any; a template never changes.
class KW_EXPORT QueryTemplate {
public:
    /// Throws std::invalid_argument "unrecognize expansion in 'TEXT'", and "the template holds a
    /// NUL byte", which would end it.
    explicit QueryTemplate(std::string text);

    /// The template as given.
    const std::string& GetText() const { return m_text; }

    /// Puts the expansion for `finder` into `out`, as KwLookupWithConfig::ExpandFilter() makes it,
    /// but into memory that `out` has already. False when there is nothing to ask: the template
    /// asks for the domain or the user name, and the searched text has none, or an empty one.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& out) const;

private:
    /// Text that stays as it is, and then a code; 0 at the end.
    struct Piece {
        std::string text;
        char code;
    };

    std::string m_text;
    std::vector<Piece> m_pieces;
    bool m_asks_user = false;
    bool m_asks_domain = false;
};

} // namespace kwlookup
