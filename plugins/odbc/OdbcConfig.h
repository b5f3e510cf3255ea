// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// Parameters: those of ServerConfig, Dsn and Connection.
class OdbcConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_odbc";

    explicit OdbcConfig(const OdbcConfig* global) : ServerConfig(NAME, global) {}

    /// `of_type` is the connection string. If it is empty, the servers are the names of data
    /// sources. Throws std::invalid_argument for parameters that cannot be combined.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_dsn{*this, "Dsn"};
    Parameter<std::string> m_connection{*this, "Connection"};
};

} // namespace kwlookup
