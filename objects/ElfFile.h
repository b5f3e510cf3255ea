// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Looks for `file`, a plain name, where the dynamic loader looks for what this library opens: in
/// LD_LIBRARY_PATH, the library's own search path and the system's directories. The name of the
/// first that is there; empty when none is, which need not mean that the loader finds none.
std::string FindSharedLibrary(const std::string& file);

/// What is wrong with the file `name` that the dynamic loader does not notice: it maps what the
/// file's headers promise, and a process dies where the file ends sooner. Empty when nothing is
/// wrong, and for what the loader itself refuses: no library, or one for another machine.
std::string WhyNotMappable(const std::string& name);

} // namespace kwlookup
