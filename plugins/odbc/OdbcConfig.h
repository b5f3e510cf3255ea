// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of kw_lookup_servers(5), Dsn and Connection.
class OdbcConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_odbc";

    explicit OdbcConfig(const OdbcConfig* global) : ServerConfig(NAME, global) {}

    /// With the connection string in `of_type`; without one, each server is the name of a data
    /// source. Throws std::invalid_argument for what cannot be combined.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_dsn{*this, "Dsn"};
    Parameter<std::string> m_connection{*this, "Connection"};
};

} // namespace kwlookup
