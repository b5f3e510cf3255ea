// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// Parameters: those of ServerConfig, and Charset.
class PostgresConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_postgres";

    explicit PostgresConfig(const PostgresConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait an encoding that
    /// PostgreSQL knows", and what the base class throws.
    void PostInit() override;

    /// `of_type` is the name of the encoding. The default of Hosts is the directory of sockets of
    /// this machine, that of User is the user that the process runs as, and that of Database is the
    /// name of the user.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "UTF8"};
};

} // namespace kwlookup
