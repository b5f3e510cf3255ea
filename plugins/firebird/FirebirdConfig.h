// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// Parameters: those of ServerConfig, Charset and Role.
class FirebirdConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_firebird";

    explicit FirebirdConfig(const FirebirdConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait a character set that
    /// Firebird knows", and what the base class throws.
    void PostInit() override;

    /// `of_type` has the further settings of FirebirdAttachment. Without hosts there is one server
    /// without a name. Throws std::invalid_argument for parameters that cannot be combined.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "UTF8"};
    Parameter<std::string> m_role{*this, "Role"};
};

} // namespace kwlookup
