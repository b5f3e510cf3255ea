// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of kw_lookup_servers(5), and Library.
class OracleConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_oracle";

    explicit OracleConfig(const OracleConfig* global) : ServerConfig(NAME, global) {}

    /// Opens the client library and puts its name into `of_type`. Without Hosts, there is one
    /// server, named like `Database`, with port 0. Throws std::invalid_argument for what cannot be
    /// combined, and what OracleClient::Open() throws.
    ServerSettings GetSettings() const;

private:
    Parameter<std::string> m_library{*this, "Library"};
};

} // namespace kwlookup
