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

    /// Executes statements as the owner and gives what they print.
    std::string Execute(const std::string& statements);

    /// Makes in `dir` what Firebird needs to open files without a server: "root", "lock" and "tmp",
    /// for its variables FIREBIRD, FIREBIRD_LOCK and FIREBIRD_TMP.
    static void MakeRoot(const TempDir& dir);

    /// Executes statements so, on the file `database`, or on what they create.
    static std::string ExecuteIn(const TempDir& dir, const std::string& database,
                                 const std::string& statements);

private:
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;
    std::string GetDatabaseName() const;
};

} // namespace kwlookup
