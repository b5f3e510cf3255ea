// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The name of the user that the process runs as, to log in with where none is set. Throws
/// std::invalid_argument "User is not set" where the user has no name.
/// Threads: any.
std::string SystemUser();

} // namespace kwlookup
