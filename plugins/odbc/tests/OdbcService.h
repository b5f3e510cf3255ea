// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/postgres/tests/PostgresService.h"
#include "servers/OdbcDriver.h"

#include <string>

/// PostgreSQL, through its ODBC driver.
class OdbcService : public PostgresService {
public:
    bool HasSocket() const { return false; }
    const char* GetHangingLookup() const { return "no answer in time"; }
    int GetShare() const { return 10; }
    std::string GetType() const { return "odbc"; }
    std::string GetLogin() const {
        return "Connection=Driver=" + kwlookup::OdbcDriver("psqlodbcw.so") +
               ";Servername=$h;Port=$p;Database=postgres|User=kw|Password=secret of the test";
    }
};
