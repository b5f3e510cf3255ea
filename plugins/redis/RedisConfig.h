// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// Parameters: those of ServerConfig, and ReadFrom.
class RedisConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_redis";

    explicit RedisConfig(const RedisConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong ReadFrom setting [VALUE]: wait 'master' or 'replica'",
    /// and what the base class throws.
    void PostInit() override;

    /// Throws std::invalid_argument "Wrong Database setting [VALUE]: wait a number from 0 to
    /// 2147483647", "User is set without Password" and "Redis has no starttls: wait 'no' or
    /// 'require' for Tls", and what the base class throws. `of_type` is READ_FROM_REPLICA or empty.
    ServerSettings GetSettings() const;

    static constexpr char READ_FROM_REPLICA[] = "ReadFrom=replica";

private:
    Parameter<std::string> m_read_from{*this, "ReadFrom", "master"};
};

} // namespace kwlookup
