// SPDX-License-Identifier: MIT
#pragma once

#include "tools/lists/BoundedWarnings.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// How much of a file to check.
enum class FileCheck {
    Start, ///< the first bytes, for its encoding
    Whole  ///< every line
};

/// Warn of lines in a file of values that other programs read differently. A file that is not a
/// regular file is not read. Throws std::bad_alloc.
/// Cost: about a microsecond and 100 bytes of memory a line.
void CheckListFile(const std::string& name, FileCheck check, Warnings& warnings);

/// The same for every line of a file of patterns.
void CheckPatternFile(const std::string& name, Warnings& warnings);

/// Warn of a NUL byte in `line` and, in the first line, of a byte order mark.
void CheckBytes(std::string_view line, std::size_t number, BoundedWarnings& warnings);

} // namespace kwlookup
