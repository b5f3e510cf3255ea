// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Explains why `key`, a stored value up to its first white space, looks like the syntax of another
/// program, and what to write here. Empty if it does not.
std::string ForeignKey(std::string_view key);

/// The same for a literal item as it is written in the list. Tests whether the item names a file.
/// Empty for an item with `value:`, which is meant literally.
std::string ForeignItem(const std::string& item);

} // namespace kwlookup
