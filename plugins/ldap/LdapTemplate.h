// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A filter or the name of an entry, with codes in its values. What is put in for a code is always
/// the text of a value: each of its bytes that is not plainly safe becomes a backslash and two
/// hexadecimal digits, which filters (RFC 4515) and names (RFC 4514) have in common.
///
/// Threads: any, once it is made.
class LdapTemplate {
public:
    /// Adds a part of the structure, as it is.
    void AddStructure(std::string_view text);
    /// Adds a byte of a value.
    void AddValue(char byte);
    /// Adds what `$s`, `$u` or `$d` stands for, by its letter.
    void AddCode(char code);

    bool HasCodes() const { return m_pieces.size() > 1; }

    /// Appends the text for `finder` to `out`. It holds no NUL byte. What the first code stands for
    /// is put into `first`, unless that holds something already.
    ///
    /// False when there is nothing to ask: a code stands for nothing; for a text that begins or
    /// ends with a blank or holds two in a row; or for one with a NUL byte. Servers leave such
    /// blanks out when they compare, and some take a NUL byte for the end, so they would find
    /// another text.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& out, std::string& first) const;

private:
    /// Text that stays as it is, and then a code; 0 at the end.
    struct Piece {
        std::string text;
        char code = '\0';
    };

    std::vector<Piece> m_pieces{1};
};

} // namespace kwlookup
