// SPDX-License-Identifier: MIT
#pragma once

#include "BoundedWarnings.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// What to make of a file that an item reads.
enum class FileCheck {
    Start, ///< its encoding, by its first bytes
    Whole  ///< every line
};

/// Warns of what a list of values holds that is read in another way than elsewhere. What is no
/// regular file is not looked at. Throws std::bad_alloc.
/// Cost: about a microsecond a line, and 100 bytes of memory.
void CheckListFile(const std::string& name, FileCheck check, Warnings& warnings);

/// The same of a file of patterns; looks at every line.
void CheckPatternFile(const std::string& name, Warnings& warnings);

/// Warns of a NUL byte in `line`, and, in the first line, of a mark that tells its encoding.
void CheckBytes(std::string_view line, std::size_t number, BoundedWarnings& warnings);

} // namespace kwlookup
