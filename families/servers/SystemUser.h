// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The name of the user that the process runs as, the default for logins. Throws
/// std::invalid_argument "User is not set" if the user has no name.
/// Threads: any.
std::string SystemUser();

} // namespace kwlookup
