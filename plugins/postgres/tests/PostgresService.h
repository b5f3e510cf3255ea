// SPDX-License-Identifier: MIT
#pragma once

#include "servers/PostgresServer.h"

#include <string>
#include <vector>

/// A server with a table and a role that may read it.
class PostgresService {
public:
    PostgresService() {
        m_server.Execute("create role kw login password 'secret of the test';\n"
                         "create table access (address text, result text, more text);\n"
                         "create index on access (address);\n"
                         "insert into access values ('jdoe@corp.lan', 'OK', 'more');\n"
                         "grant select on access to kw;\n");
    }

    kwlookup::PostgresServer& GetServer() { return m_server; }
    std::string TlsHost() const { return m_server.Host(); }
    std::vector<std::string> TlsModes() const { return {"starttls", "require"}; }
    std::string Type() const { return "postgres"; }
    std::string Login() const { return "User=kw|Password=secret of the test|Database=postgres"; }
    std::string Query() const { return "select result from access where address = '$s'"; }

private:
    kwlookup::PostgresServer m_server;
};
