// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <string>

namespace kwlookup {

/// The codes for the host and its port in the parameter Connection.
extern const char* const HOST_CODE;
extern const char* const PORT_CODE;

/// Check that `text` has the form KEYWORD=VALUE[;...]. Throws std::invalid_argument "Wrong
/// Connection setting: ..." for another form and "Connection has a password: set Password" for a
/// password. No message contains the text, because a password may be in it.
void CheckConnectionText(const std::string& text);

/// The connection string for `server`: `settings.of_type` with its codes replaced, and with user
/// and password added.
std::string ConnectionTextFor(const Server& server, const ServerSettings& settings);

} // namespace kwlookup
