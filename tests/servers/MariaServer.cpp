// SPDX-License-Identifier: MIT
#include "servers/MariaServer.h"

#include "servers/ServerProgram.h"

namespace kwlookup {

MariaServer::MariaServer(const TestCertificate* certificate) : TestServer(certificate) {
    RunServerProgram({ServerFile("usr/bin/mariadb-install-db"), "--no-defaults",
                      "--basedir=" + ServerFile("usr"), "--auth-root-authentication-method=normal",
                      "--skip-test-db", "--datadir=" + GetDir().Path("data"),
                      "--tmpdir=" + GetDir().Path("data"), "--innodb-flush-method=nosync"});
    Start();
    Execute("create database test", "mysql");
}

std::vector<std::string> MariaServer::GetCommand() const {
    std::vector<std::string> command = {
        ServerFile("usr/sbin/mariadbd"), "--no-defaults", "--basedir=" + ServerFile("usr"),
        "--datadir=" + GetDir().Path("data"),
        // In /tmp, a server that starts would remove the files of others.
        "--tmpdir=" + GetDir().Path("data"), "--socket=" + GetSocketPath(),
        "--bind-address=127.0.0.1", "--port=" + std::to_string(GetPort()),
        "--innodb-buffer-pool-size=16M", "--innodb-flush-log-at-trx-commit=2",
        "--innodb-flush-method=nosync", "--skip-log-bin", "--skip-name-resolve"};
    if (HasTls())
        for (const std::string& setting : {"--ssl-cert=" + GetCertificateFile(),
                                           "--ssl-key=" + GetKeyFile(), "--ssl-ca=" + GetCaFile()})
            command.push_back(setting);
    return command;
}

bool MariaServer::Answers() {
    return Execute("select 1", "mysql") == "1\n";
}

std::string MariaServer::Execute(const std::string& statements, const std::string& database) {
    return RunServerProgram({ServerFile("usr/bin/mariadb"), "--no-defaults", "--batch",
                             "--skip-column-names", "--default-character-set=utf8mb4", "-uroot",
                             "-S", GetSocketPath(), database},
                            statements);
}

} // namespace kwlookup
