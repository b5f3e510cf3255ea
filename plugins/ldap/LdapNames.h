// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kwlookup {

/// A letter, digit of ASCII, whatever the locale.
bool IsLetter(char c);
bool IsDigit(char c);

/// Whether `text` names an attribute: a name as in "mail" or an object identifier as in "2.5.4.3",
/// and then options, as in ";lang-de".
bool IsLdapAttribute(std::string_view text);

/// The same without options; also the name of a matching rule.
bool IsLdapName(std::string_view text);

/// The value of a hexadecimal digit, or -1.
int HexDigit(char c);

} // namespace kwlookup
