// SPDX-License-Identifier: MIT
#pragma once

#include <mysql.h>
#include <string>

namespace kwlookup {

/// The name under which StartConnector() registers how a login in TLS begins.
extern const char* const TLS_LOGIN;

/// Sets MariaDB's connector up, once a process. It would have the host ignore SIGPIPE from then on;
/// this leaves the host's signals as they are. Throws std::runtime_error.
/// Threads: any.
void StartConnector();

/// What the connector knows of a character set; null when it knows none of that name.
const MARIADB_CHARSET_INFO* FindCharset(const std::string& name);

} // namespace kwlookup
