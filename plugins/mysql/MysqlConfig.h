// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of kw_lookup_servers(5), and Charset.
class MysqlConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_mysql";

    explicit MysqlConfig(const MysqlConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait a character set that
    /// clients of the server may use" besides what the base throws.
    void PostInit() override;

    /// With the connector's name of the character set in `of_type`. Hosts that are not set are the
    /// socket of this machine, and a user that is not set is the one that the process runs as.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "utf8mb4"};
};

} // namespace kwlookup
