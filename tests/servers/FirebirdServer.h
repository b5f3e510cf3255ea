// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"

#include <string>
#include <vector>

namespace kwlookup {

/// Firebird with the database "test". The owner of everything is "sysdba", with the password
/// "masterke".
class FirebirdServer final : public TestServer {
public:
    FirebirdServer();

    /// Executes statements as the owner, and returns their output.
    std::string Execute(const std::string& statements);

    /// Make the directories that Firebird needs to open files without a server: "root", "lock" and
    /// "tmp" in `dir`, for the variables FIREBIRD, FIREBIRD_LOCK and FIREBIRD_TMP.
    static void MakeRoot(const TempDir& dir);

    /// Execute statements without a server, on the file `database` or on one that they create.
    static std::string ExecuteIn(const TempDir& dir, const std::string& database,
                                 const std::string& statements);

private:
    void WriteConfiguration() const;
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;
    std::string GetDatabaseName() const;
};

} // namespace kwlookup
