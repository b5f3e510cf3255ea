// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Why `key`, a stored value up to its first white space, looks like the syntax of another program,
/// and what to write here; empty when it does not.
std::string ForeignKey(std::string_view key);

/// The same of a literal item as the list has it, `value:` included, which says that the rest is
/// meant. Looks whether the item names a file.
std::string ForeignItem(const std::string& item);

} // namespace kwlookup
