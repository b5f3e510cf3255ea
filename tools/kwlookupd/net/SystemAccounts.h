// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <sys/types.h>

namespace kwlookup {

/// Returns the number of a user, by its name or number. Throws std::invalid_argument
/// "there is no user NAME".
uid_t FindUser(const std::string& name);

/// Returns the number of a group, by its name or number. Throws std::invalid_argument
/// "there is no group NAME".
gid_t FindGroup(const std::string& name);

/// Makes this process that of user `name`, with the user's groups, for good. Does nothing if it is
/// that already. Throws std::invalid_argument "there is no user NAME", and std::system_error if it
/// is not allowed. Threads: call it while there is one.
void BecomeUser(const std::string& name);

} // namespace kwlookup
