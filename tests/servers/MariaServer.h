// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"

#include <string>
#include <vector>

namespace kwlookup {

/// MariaDB with the database "test".
class MariaServer final : public TestServer {
public:
    explicit MariaServer(const TestCertificate* certificate = nullptr);

    /// Executes statements as the superuser, and returns the rows with tabs between columns.
    std::string Execute(const std::string& statements, const std::string& database = "test");

private:
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;
};

} // namespace kwlookup
