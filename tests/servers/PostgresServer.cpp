// SPDX-License-Identifier: MIT
#include "servers/PostgresServer.h"

#include "servers/ServerProgram.h"

#include <fstream>

namespace kwlookup {

namespace {

const char* const PROGRAMS = "usr/lib/postgresql/15/bin/";

/// The superuser.
const char* const ADMIN = "test_admin";

} // namespace

PostgresServer::PostgresServer(const TestCertificate* certificate) : TestServer(certificate) {
    RunServerProgram({ServerFile(std::string(PROGRAMS) + "initdb"), "-D", GetDir().Path("data"),
                      "-U", ADMIN, "--auth=trust", "--no-sync", "--no-instructions",
                      "--encoding=UTF8", "--locale=C"});
    std::ofstream(GetDir().Path("data/pg_hba.conf")) << "local all test_admin,+trusted trust\n"
                                                        "local all all scram-sha-256\n"
                                                        "hostssl all certified all cert\n"
                                                        "hostnossl all +tls all reject\n"
                                                        "host all all all scram-sha-256\n";
    Start();
    Execute("create role tls; create role trusted");
}

std::string PostgresServer::GetSocketPath() const {
    return GetDir().Path(".s.PGSQL." + std::to_string(GetPort()));
}

std::vector<std::string> PostgresServer::GetCommand() const {
    std::vector<std::string> command = {ServerFile(std::string(PROGRAMS) + "postgres"),
                                        "-D",
                                        GetDir().Path("data"),
                                        "-p",
                                        std::to_string(GetPort()),
                                        "-k",
                                        GetDir().Path(".")};
    // The shared memory is in files of its folder, so that a killed server leaves none behind.
    for (const char* setting :
         {"dynamic_shared_memory_type=mmap", "listen_addresses=127.0.0.1", "fsync=off",
          "full_page_writes=off", "shared_buffers=16MB", "max_connections=50", "autovacuum=off",
          "log_error_verbosity=terse"})
        command.insert(command.end(), {"-c", setting});
    if (HasTls())
        for (const std::string& setting :
             {std::string("ssl=on"), "ssl_cert_file=" + GetCertificateFile(),
              "ssl_key_file=" + GetKeyFile(), "ssl_ca_file=" + GetCaFile()})
            command.insert(command.end(), {"-c", setting});
    if (m_file_limit > 0)
        command.insert(command.begin(),
                       {"/usr/bin/prlimit", "--fsize=" + std::to_string(m_file_limit)});
    return command;
}

void PostgresServer::LimitFiles(std::size_t bytes) {
    m_file_limit = bytes;
    Restart();
}

bool PostgresServer::Answers() {
    return Execute("select 1") == "1\n";
}

std::string PostgresServer::Execute(const std::string& statements, const std::string& database) {
    return RunServerProgram({ServerFile(std::string(PROGRAMS) + "psql"), "-X", "-q", "-A", "-t",
                             "-v", "ON_ERROR_STOP=1", "-h", GetDir().Path("."), "-p",
                             std::to_string(GetPort()), "-U", ADMIN, "-d", database, "-f", "-"},
                            statements);
}

} // namespace kwlookup
