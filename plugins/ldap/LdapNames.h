// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kwlookup {

/// True for an ASCII letter, in any locale.
bool IsLetter(char c);
bool IsDigit(char c);

/// True if `text` is the name of an attribute: a name such as "mail" or an object identifier such
/// as "2.5.4.3", perhaps followed by options such as ";lang-de".
bool IsLdapAttribute(std::string_view text);

/// The same without options. Matching rules have such names too.
bool IsLdapName(std::string_view text);

/// The value of a hexadecimal digit, or -1.
int HexDigit(char c);

} // namespace kwlookup
