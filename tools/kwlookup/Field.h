// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Append `text` as a field of a line. Control characters are written as \xHH, and so is a
/// backslash that would look like the start of such an escape. All other bytes stay as they are.
void AppendField(std::string& line, const std::string& text);

} // namespace kwlookup
