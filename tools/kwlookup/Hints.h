// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// `text` in double quotes, so that a list with that separator gives it back as one item.
std::string Quoted(const std::string& text, char separator);

/// The command line `kwlookup ARGUMENTS`, as a shell takes it.
std::string CommandLine(const std::vector<std::string>& arguments);

/// What would have worked in place of the item, which could not be loaded; empty when that is not
/// known.
std::string HintForItem(const std::string& item);

/// What would have worked in place of an unquoted list, whose blanks have cut `arguments`: those
/// with each argument that ends in a comma joined with the next one. Empty when none does.
std::string HintForUnquotedList(const std::vector<std::string>& arguments);

/// The one of `names` that `word` is probably a slip of; empty when none is near.
std::string NearestName(const std::string& word, const std::vector<std::string>& names);

/// Tells a hint on standard error. False, and nothing told, when it is empty, too long, or could
/// not be typed as it is shown.
bool TellHint(const std::string& hint);

} // namespace kwlookup
