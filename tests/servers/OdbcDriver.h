// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The file of an unpacked driver: "libsqlite3odbc.so", "libmaodbc.so" or "psqlodbcw.so". A
/// connection string may name it, so that nothing needs to be configured.
std::string OdbcDriver(const std::string& library);

} // namespace kwlookup
