// SPDX-License-Identifier: MIT
#include "servers/OdbcDriver.h"

#include "servers/ServerProgram.h"

namespace kwlookup {

std::string OdbcDriver(const std::string& library) {
    return ServerFile("usr/lib/" SERVERS_ARCH "/odbc/" + library);
}

} // namespace kwlookup
