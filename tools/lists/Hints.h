// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// `text` in double quotes, so that splitting at `separator` returns it as one item.
std::string Quoted(const std::string& text, char separator);

/// The command line `kwlookup ARGUMENTS`, quoted for a shell.
std::string CommandLine(const std::vector<std::string>& arguments);

/// What to write in place of an item that could not be loaded; empty if that is not known.
std::string HintForItem(const std::string& item);

/// Which package to install because the plug-in of `type` is missing; empty if it is not.
std::string HintForMissing(const std::string& type);

/// The command line with quotes around a list that was split at blanks: each argument that ends in
/// a comma is joined with the next one. Empty if there is none.
std::string HintForUnquotedList(const std::vector<std::string>& arguments);

/// The one of `names` of which `word` is probably a misspelling; empty if none is close.
std::string NearestName(const std::string& word, const std::vector<std::string>& names);

/// Print a hint on standard error. Prints nothing and returns false if the hint is empty, too long,
/// or has bytes that cannot be typed.
bool PrintHint(const std::string& hint);

} // namespace kwlookup
