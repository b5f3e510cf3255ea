// SPDX-License-Identifier: MIT
// Runs the examples of docs/servers.md on servers with the data of examples/servers/.
#include "servers/MariaServer.h"
#include "servers/OdbcDriver.h"
#include "servers/PostgresServer.h"
#include "servers/RedisServer.h"
#include "servers/SlapdServer.h"
#include "support/RunProgram.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace kwlookup;

namespace {

std::string Example(const std::string& name) {
    std::ifstream file(SOURCE_DIR "/examples/servers/" + name);
    EXPECT_TRUE(file) << name;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace

TEST(ServersPage, ExamplesPrintWhatThePageShows) {
    PostgresServer postgres;
    postgres.Execute(Example("postgres.sql"));
    MariaServer maria;
    maria.Execute(Example("mysql.sql"));
    // The settings that the page gives for a local server.
    const std::string user = "\"" + std::string(::getpwuid(::geteuid())->pw_name) + "\"";
    postgres.Execute("create role " + user + " login in role trusted; create database " + user);
    postgres.Execute("create table access (address text, result text);"
                     "insert into access values ('jdoe@corp.lan', 'reject');"
                     "grant select on access to " +
                         user,
                     ::getpwuid(::geteuid())->pw_name);

    RedisServer redis;
    redis.Run({"HSET", "blocked", "corp.lan", "reject"});
    SlapdServer slapd;
    slapd.Add(Example("ldap.ldif"));

    const std::vector<std::string> replaced = {
        "localhost:389=" + slapd.GetHost(),
        "localhost:5432=" + postgres.GetHost(),
        "127.0.0.1:6379=" + redis.GetHost(),
        "localhost:3306=" + maria.GetHost(),
        "PostgreSQL Unicode=" + OdbcDriver("psqlodbcw.so"),
        "kwlookup find \"postgres:select=kwlookup find \"postgres:Hosts=" + postgres.GetUnixHost() +
            "|select",
    };
    std::vector<std::string> command = {PYTHON, RUN_EXAMPLES, TOOL, SOURCE_DIR,
                                        SOURCE_DIR "/docs/servers.md"};
    command.insert(command.end(), replaced.begin(), replaced.end());
    const ProgramResult result = RunProgram(command);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}
