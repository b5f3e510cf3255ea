// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/mysql/tests/MysqlService.h"
#include "servers/OdbcDriver.h"

#include <string>

/// MariaDB, asked by way of its driver.
class OdbcMariaService : public MysqlService {
public:
    const char* GetHangingLookup() const { return "no answer in time"; }
    const char* GetRefusal() const { return "Can't connect to server"; }
    bool HasSocket() const { return false; }
    int GetShare() const { return 10; }
    std::string GetType() const { return "odbc"; }
    std::string GetLogin() const {
        return "Connection=Driver=" + kwlookup::OdbcDriver("libmaodbc.so") +
               ";Server=$h;Port=$p;Database=test|User=kw|Password=secret of the test";
    }
};
