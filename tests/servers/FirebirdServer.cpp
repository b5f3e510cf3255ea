// SPDX-License-Identifier: MIT
#include "servers/FirebirdServer.h"

#include "servers/ServerProgram.h"

#include <filesystem>

namespace kwlookup {

namespace {

const char* const OWNER = "sysdba";
const char* const PASSWORD = "masterke";

/// `command` with the environment variables for the directories of Firebird.
std::vector<std::string> WithRoot(const TempDir& dir, const std::vector<std::string>& command) {
    // In the locale "C", isql omits bytes above 127.
    std::vector<std::string> all = {
        "/usr/bin/env", "LC_ALL=C.UTF-8", "FIREBIRD=" + dir.Path("root"),
        "FIREBIRD_LOCK=" + dir.Path("lock"), "FIREBIRD_TMP=" + dir.Path("tmp")};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

} // namespace

void FirebirdServer::MakeRoot(const TempDir& dir) {
    namespace fs = std::filesystem;
    for (const char* name : {"root", "lock", "tmp"}) {
        fs::create_directory(dir.Path(name));
        GiveToServer(dir.Path(name));
    }
    // The client library looks for plug-ins where Debian's packages install them.
    const std::string installed = ServerFile("usr/lib/" SERVERS_ARCH "/firebird/3.0/plugins/");
    std::string plugins;
    for (const std::string name : {"Engine12", "Srp"})
        plugins += "Plugin = " + name + " {\n  Module = " + installed + name + "\n}\n";
    dir.Write("root/plugins.conf", plugins);
    fs::create_symlink("/usr/lib/" SERVERS_ARCH "/firebird/3.0/firebird.msg",
                       dir.Path("root/firebird.msg"));
}

std::string FirebirdServer::ExecuteIn(const TempDir& dir, const std::string& database,
                                      const std::string& statements) {
    return RunServerProgram(WithRoot(dir, {ServerFile("usr/bin/isql-fb"), "-q", "-bail", "-user",
                                           OWNER, "-ch", "utf8", database}),
                            statements);
}

FirebirdServer::FirebirdServer() {
    MakeRoot(GetDir());
    const std::string users = GetDir().Path("root/security3.fdb");
    GetDir().Write("root/databases.conf",
                   "test = " + GetDatabaseName() + "\nsecurity.db = " + users + "\n");
    WriteConfiguration();
    ExecuteIn(GetDir(), "", "create database '" + users + "';\n");
    ExecuteIn(GetDir(), users,
              std::string("create user ") + OWNER + " password '" + PASSWORD +
                  "' using plugin Srp;\ncommit;\n");
    ExecuteIn(GetDir(), "",
              "create database '" + GetDatabaseName() + "' default character set utf8;\n");
    // Tests need not outlive a crash of the machine.
    RunServerProgram(WithRoot(GetDir(), {ServerFile("usr/bin/gfix"), "-user", OWNER, "-write",
                                         "async", GetDatabaseName()}));
    Start();
}

std::string FirebirdServer::GetDatabaseName() const {
    return GetDir().Path("test.fdb");
}

void FirebirdServer::WriteConfiguration() const {
    // With the option -p it would listen at all addresses.
    GetDir().Write("root/firebird.conf", "RemoteBindAddress = 127.0.0.1\n"
                                         "RemoteServicePort = " +
                                             std::to_string(GetPort()) +
                                             "\n"
                                             "AuthServer = Srp\n"
                                             "AuthClient = Srp\n"
                                             "UserManager = Srp\n"
                                             "SecurityDatabase = " +
                                             GetDir().Path("root/security3.fdb") + "\n");
}

std::vector<std::string> FirebirdServer::GetCommand() const {
    WriteConfiguration();
    return WithRoot(GetDir(), {ServerFile("usr/sbin/firebird")});
}

bool FirebirdServer::Answers() {
    return Execute("select 1 from rdb$database;\n").find('1') != std::string::npos;
}

std::string FirebirdServer::Execute(const std::string& statements) {
    return RunServerProgram(
        WithRoot(GetDir(),
                 {ServerFile("usr/bin/isql-fb"), "-q", "-bail", "-user", OWNER, "-password",
                  PASSWORD, "-ch", "utf8", "127.0.0.1/" + std::to_string(GetPort()) + ":test"}),
        statements + "commit;\n");
}

} // namespace kwlookup
