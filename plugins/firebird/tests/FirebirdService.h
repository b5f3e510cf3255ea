// SPDX-License-Identifier: MIT
#pragma once

#include "servers/FirebirdServer.h"
#include "servers/ServiceDefaults.h"
#include "support/TempDir.h"

#include <cstdlib>
#include <string>
#include <utility>

/// A server with a table, and a user who may read it.
class FirebirdService : public ServiceDefaults {
public:
    FirebirdService() {
        // For files that tests open without the server.
        kwlookup::FirebirdServer::MakeRoot(m_dir);
        ::setenv("FIREBIRD", m_dir.Path("root").c_str(), 1);
        ::setenv("FIREBIRD_LOCK", m_dir.Path("lock").c_str(), 1);
        ::setenv("FIREBIRD_TMP", m_dir.Path("tmp").c_str(), 1);
        m_server.Execute("create user kw password 'secret of the test';\n"
                         "create table access (address " +
                         GetTextType() +
                         ", result varchar(100), more varchar(100));\n"
                         "create index access_address on access (address);\n"
                         "insert into access values ('jdoe@corp.lan', 'OK', 'more');\n"
                         "grant select on access to kw;\n");
    }

    const TempDir& GetDir() const { return m_dir; }
    kwlookup::FirebirdServer& GetServer() { return m_server; }
    std::string GetStored() {
        // A table cannot be dropped while a connection that has used it is being closed.
        if (std::exchange(m_has_stored, true))
            return "delete from stored;\n";
        return "create table stored (address blob sub_type text character set utf8,\n"
               "  number integer not null primary key, seen timestamp);\n"
               "grant select, insert on stored to kw;\n";
    }
    bool HasSocket() const { return false; }
    const char* GetHangingLookup() const { return "no answer in time"; }
    const char* GetRefusal() const { return "Failed to establish a connection"; }
    int GetShare() const { return 20; }
    std::string GetType() const { return "firebird"; }
    std::string GetLogin() const { return "User=kw|Password=secret of the test|Database=test"; }
    std::string Execute(const std::string& statements) { return m_server.Execute(statements); }
    std::string GetUser() const { return "kw"; }
    bool ChecksRightsAtEachSearch() const { return false; }
    std::string Quoted(const std::string& name) const {
        return name == "Mixed" ? "\"Mixed\"" : "\"" + Capitals(name) + "\"";
    }
    std::string GetTextType() const { return "varchar(100) character set utf8"; }
    std::string GetQuery() const { return "select result from access where address = '$s'"; }

private:
    /// How the server stores names that were not quoted.
    static std::string Capitals(std::string name) {
        for (char& c : name)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
        return name;
    }

    bool m_has_stored = false;
    const TempDir m_dir;
    kwlookup::FirebirdServer m_server;
};
