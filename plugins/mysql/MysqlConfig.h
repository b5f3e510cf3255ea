// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// Parameters: those of ServerConfig, and Charset.
class MysqlConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_mysql";

    explicit MysqlConfig(const MysqlConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait a character set that
    /// clients of the server may use", and what the base class throws.
    void PostInit() override;

    /// `of_type` is the connector's name of the character set. The default of Hosts is the socket
    /// of this machine, and that of User is the user that the process runs as.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "utf8mb4"};
};

} // namespace kwlookup
