// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Looks for the file name `file` in the directories that the dynamic loader searches:
/// LD_LIBRARY_PATH, this library's own search path and the system's directories. Returns the path
/// of the first one found, or an empty text. The loader may still find a file that this function
/// does not.
std::string FindSharedLibrary(const std::string& file);

/// Returns why the dynamic loader must not open the file `name`, or an empty text. The loader maps
/// the segments that the file's headers list, and a process that reads beyond the end of a
/// truncated file is killed. Faults that the loader reports itself give an empty text.
std::string WhyNotMappable(const std::string& name);

} // namespace kwlookup
