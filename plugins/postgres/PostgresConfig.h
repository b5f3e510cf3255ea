// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of kw_lookup_servers(5), and Charset.
class PostgresConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_postgres";

    explicit PostgresConfig(const PostgresConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait an encoding that
    /// PostgreSQL knows" besides what the base throws.
    void PostInit() override;

    /// With the name of the encoding in `of_type`. Hosts that are not set are the sockets of this
    /// machine, a user that is not set is the one that the process runs as, and a database that is
    /// not set has the user's name.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "UTF8"};
};

} // namespace kwlookup
