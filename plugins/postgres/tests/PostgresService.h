// SPDX-License-Identifier: MIT
#pragma once

#include "servers/PostgresServer.h"
#include "servers/ServiceDefaults.h"

#include <string>
#include <vector>

/// A server with a table and a role that may read it.
class PostgresService : public ServiceDefaults {
public:
    PostgresService() {
        m_server.Execute("create role kw login password 'secret of the test';\n"
                         "create table access (address text, result text, more text);\n"
                         "create index on access (address);\n"
                         "insert into access values ('jdoe@corp.lan', 'OK', 'more');\n"
                         "grant select on access to kw;\n");
    }

    kwlookup::PostgresServer& GetServer() { return m_server; }
    std::string GetStored() const {
        return "drop table if exists stored;\n"
               "create table stored (address text, number int primary key, seen timestamp);\n"
               "grant select, insert on stored to kw;\n";
    }
    std::string GetTlsHost() const { return m_server.GetHost(); }
    std::vector<std::string> GetTlsModes() const { return {"starttls", "require"}; }
    std::string GetNameFault() const { return "does not match host name"; }
    std::string GetType() const { return "postgres"; }
    std::string GetLogin() const { return "User=kw|Password=secret of the test|Database=postgres"; }
    std::string Execute(const std::string& statements) { return m_server.Execute(statements); }
    std::string GetUser() const { return "kw"; }
    bool ChecksRightsAtEachSearch() const { return true; }
    std::string Quoted(const std::string& name) const { return '"' + name + '"'; }
    std::string GetTextType() const { return "text"; }
    std::string GetQuery() const { return "select result from access where address = '$s'"; }

private:
    kwlookup::PostgresServer m_server;
};
