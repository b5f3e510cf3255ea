// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// A parsed template, which makes a key or a value from the searched text. For its codes see
/// KwLookupWithConfig.
///
///     const kwlookup::QueryTemplate path("/var/mail/$d/$u");
///     std::string name;
///     if (path.Expand(*this, finder, flags, name))
///         ... // "/var/mail/corp.lan/jdoe"
///
/// Threads: any. A template never changes.
class KW_EXPORT QueryTemplate {
public:
    /// Parses `text`. Throws std::invalid_argument "unrecognize expansion in 'TEXT'" and "the
    /// template holds a NUL byte".
    explicit QueryTemplate(std::string text);

    /// Returns the text of the template.
    const std::string& GetText() const { return m_text; }

    /// Sets `out` to the expansion for `finder`, the same as that of
    /// KwLookupWithConfig::ExpandFilter(), and reuses the memory of `out`. Returns false when the
    /// template has the code of the domain or the local part and the searched text has none, or an
    /// empty one. The search is then a miss.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& out) const;

private:
    /// A literal text and the code after it, which is 0 at the end.
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
