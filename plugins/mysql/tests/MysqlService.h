// SPDX-License-Identifier: MIT
#pragma once

#include "servers/MariaServer.h"
#include "servers/ServiceDefaults.h"

#include <string>
#include <vector>

/// A server with a table and a user who may read it.
class MysqlService : public ServiceDefaults {
public:
    MysqlService() {
        m_server.Execute("create user kw@'%' identified by 'secret of the test';\n"
                         "create table access (address varchar(200) character set utf8mb4\n"
                         "  collate utf8mb4_nopad_bin, result text, more text, key (address))\n"
                         "  character set utf8mb4;\n"
                         "insert into access values ('jdoe@corp.lan', 'OK', 'more');\n"
                         "grant select on access to kw@'%';\n");
    }

    kwlookup::MariaServer& GetServer() { return m_server; }
    std::string GetStored() const {
        return "drop table if exists stored;\n"
               "create table stored (address mediumtext character set utf8mb4, "
               "number int primary key, seen datetime) engine = innodb;\n"
               "grant select, insert on stored to kw@'%';\n";
    }
    std::string GetTlsHost() const { return m_server.GetHost(); }
    std::vector<std::string> GetTlsModes() const { return {"starttls", "require"}; }
    std::string GetNameFault() const { return "Validation of SSL server certificate failed"; }
    std::string GetType() const { return "mysql"; }
    std::string GetLogin() const { return "User=kw|Password=secret of the test|Database=test"; }
    std::string Execute(const std::string& statements) { return m_server.Execute(statements); }
    std::string GetUser() const { return "kw@'%'"; }
    bool ChecksRightsAtEachSearch() const { return true; }
    std::string Quoted(const std::string& name) const { return '`' + name + '`'; }
    std::string GetTextType() const {
        return "varchar(100) character set utf8mb4 collate utf8mb4_nopad_bin";
    }
    std::string GetQuery() const { return "select result from access where address = '$s'"; }

private:
    kwlookup::MariaServer m_server;
};
