// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/oracle/tests/StandIn.h"
#include "servers/TestServer.h"
#include "support/TempDir.h"
#include "text/SharedLibrary.h"

#include <algorithm>
#include <memory>
#include <regex>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

/// A database that the stand-in for Oracle's client library shows as the service "test", with a
/// table that the user may read.
class OracleService {
public:
    OracleService() {
        StandIn* (*state)();
        kwlookup::SharedLibrary(GetLibrary()).Resolve(state, "StandInState");
        m_stand_in = state();
        m_stand_in->directory = m_dir.Path("");
        sqlite3* database = nullptr;
        ::sqlite3_open(m_dir.Path("test.db").c_str(), &database);
        m_database.reset(database);
        Execute("create table grants (name);\n"
                "create table access (address varchar2(100), result varchar2(100));\n"
                "create index access_address on access (address);\n"
                "insert into access values ('jdoe@corp.lan', 'OK');\n"
                "grant select on access to kw;\n");
    }

    static std::string GetLibrary() { return STAND_IN_DIR "/libclntsh.so"; }

    StandIn& GetStandIn() { return *m_stand_in; }
    kwlookup::TestServer& GetServer() { return m_server; }
    std::string GetType() const { return "oracle"; }
    std::string GetLogin() const {
        return "Library=" + GetLibrary() + "|User=kw|Password=secret of the test|Database=test";
    }
    std::string GetUser() const { return "kw"; }
    bool ChecksRightsAtEachSearch() const { return true; }
    std::string Quoted(const std::string& name) const {
        std::string quoted = name;
        if (name != "Mixed")
            std::transform(name.begin(), name.end(), quoted.begin(),
                           [](char c) { return static_cast<char>(c - 'a' + 'A'); });
        return '"' + quoted + '"';
    }
    std::string GetTextType() const { return "varchar2(400)"; }
    std::string GetQuery() const { return "select result from access where address = '$s'"; }

    std::string Execute(const std::string& statements) {
        // SQLite has no rights, so the stand-in reads them from a table.
        static const std::regex grant("grant [a-z, ]+ on \"?(\\w+)\"? to kw;");
        static const std::regex revoke("revoke [a-z, ]+ on \"?(\\w+)\"? from kw;");
        std::string text =
            std::regex_replace(statements, grant, "insert into grants values (lower('$1'));");
        text = std::regex_replace(text, revoke, "delete from grants where name = lower('$1');");
        const auto add = [](void* rows, int columns, char** values, char**) {
            for (int i = 0; i < columns; ++i)
                static_cast<std::string*>(rows)->append(values[i] ? values[i] : "") += '\n';
            return 0;
        };
        std::string rows;
        ::sqlite3_busy_timeout(m_database.get(), 10000);
        if (::sqlite3_exec(m_database.get(), text.c_str(), add, &rows, nullptr) != SQLITE_OK)
            throw std::runtime_error(::sqlite3_errmsg(m_database.get()));
        return rows;
    }

private:
    /// Gives the service a host and a port. Nothing listens there.
    class NoServer : public kwlookup::TestServer {
        std::vector<std::string> GetCommand() const override { return {}; }
        bool Answers() override { return false; }
    };

    struct Close {
        void operator()(sqlite3* database) const { ::sqlite3_close(database); }
    };

    const TempDir m_dir;
    NoServer m_server;
    StandIn* m_stand_in;
    std::unique_ptr<sqlite3, Close> m_database;
};
