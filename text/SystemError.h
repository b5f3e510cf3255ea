// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Returns the system's text for an error number. Threads: any.
std::string SystemErrorText(int error_number);

} // namespace kwlookup
