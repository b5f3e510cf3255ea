// SPDX-License-Identifier: MIT
#pragma once

#include <mysql.h>
#include <string>

namespace kwlookup {

/// The name of the method of authentication that begins a login with TLS; see StartConnector().
extern const char* const TLS_LOGIN;

/// Initialise MariaDB's connector, once per process. The connector would make the process ignore
/// SIGPIPE; this restores the host's signal actions. Throws std::runtime_error.
/// Threads: any.
void StartConnector();

/// The connector's description of a character set; null if there is none of that name.
const MARIADB_CHARSET_INFO* FindCharset(const std::string& name);

} // namespace kwlookup
