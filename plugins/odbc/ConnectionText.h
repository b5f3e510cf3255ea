// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <string>

namespace kwlookup {

/// What stands for the host, and for its port, in the parameter Connection.
extern const char* const HOST_CODE;
extern const char* const PORT_CODE;

/// Throws std::invalid_argument "Wrong Connection setting: ..." for what is not
/// KEYWORD=VALUE[;...], and "Connection has a password: set Password", which appears in no message.
void CheckConnectionText(const std::string& text);

/// The connection string for `server`: the one in `settings.of_type` with its codes filled in, and
/// with user and password.
std::string ConnectionTextFor(const Server& server, const ServerSettings& settings);

} // namespace kwlookup
