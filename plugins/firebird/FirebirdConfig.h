// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of kw_lookup_servers(5), Charset and Role.
class FirebirdConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_firebird";

    explicit FirebirdConfig(const FirebirdConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument "Wrong Charset setting [VALUE]: wait a character set that
    /// Firebird knows" besides what the base throws.
    void PostInit() override;

    /// With what FirebirdAttachment needs besides in `of_type`. Without hosts there is one server,
    /// which has no name. Throws std::invalid_argument for what cannot be combined.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_charset{*this, "Charset", "UTF8"};
    Parameter<std::string> m_role{*this, "Role"};
};

} // namespace kwlookup
