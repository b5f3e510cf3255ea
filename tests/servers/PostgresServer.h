// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// PostgreSQL with the database "postgres". Roles need their passwords, except those in the group
/// "trusted" on the unix socket. Those in the group "tls" cannot connect without TLS.
class PostgresServer final : public TestServer {
public:
    explicit PostgresServer(const TestCertificate* certificate = nullptr);

    std::string GetSocketPath() const override;

    /// Executes statements as the superuser, and returns the rows with "|" between columns.
    std::string Execute(const std::string& statements, const std::string& database = "postgres");

    /// Restarts it so that it can make no file longer, as if the disk were full. Its log of changes
    /// needs files of 16 MiB.
    void LimitFiles(std::size_t bytes);

private:
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;

    std::size_t m_file_limit = 0;
};

} // namespace kwlookup
