// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A filter or the name of an entry, with codes in its values. The text for a code is always part
/// of a value: each byte that may be special is replaced by a backslash and two hexadecimal digits,
/// an escape that filters (RFC 4515) and names (RFC 4514) have in common.
///
/// Threads: any, once it is complete.
class LdapTemplate {
public:
    /// Add a part of the structure, unchanged.
    void AddStructure(std::string_view text);
    /// Add a byte of a value.
    void AddValue(char byte);
    /// Add the code `$s`, `$u` or `$d`, by its letter.
    void AddCode(char code);

    bool HasCodes() const { return m_pieces.size() > 1; }

    /// Append the text for `finder` to `out`. It has no NUL byte. If `first` is empty, set it to
    /// the text for the first code.
    ///
    /// False if the server must not be asked, because the text for a code is empty, begins or ends
    /// with a blank, has two blanks in a row, or has a NUL byte. Servers ignore such blanks in
    /// comparisons, and some take a NUL byte for the end, so they would find another text.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& out, std::string& first) const;

private:
    /// A literal text, followed by a code, or 0 at the end.
    struct Piece {
        std::string text;
        char code = '\0';
    };

    std::vector<Piece> m_pieces{1};
};

} // namespace kwlookup
