// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Appends `text` as a field of a line: control bytes, tabs and line ends among them, come out as
/// \xHH, and so does a backslash that would look like the start of one. Other bytes stay as they
/// are, so UTF-8 and most backslashes do.
void AppendField(std::string& line, const std::string& text);

} // namespace kwlookup
