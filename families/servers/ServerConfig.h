// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerSettings.h"
#include "lookup/config/Parameter.h"

#include <cstdint>
#include <string>

namespace kwlookup {

/// The parameters of every type that asks servers, described in kw_lookup_servers(5). Derive from
/// this class to add the parameters of a type as members, and its rules in PostInit().
class ServerConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    /// Throws std::invalid_argument for a value out of range, with the name and the range in the
    /// message, and what the base class throws.
    void PostInit() override;

    /// The values in force for an item, with `default_hosts` if Hosts is not set. Throws
    /// std::invalid_argument as ParseServerList() does, and "TlsKeyFile is set without
    /// TlsCertFile".
    ServerSettings GetServerSettings(std::uint16_t default_port,
                                     const std::string& default_hosts = "") const;

private:
    Parameter<std::string> m_hosts{*this, "Hosts"};
    Parameter<std::string> m_balance{*this, "Balance"};
    Parameter<Time> m_retry_interval{*this, "RetryInterval", 60};
    Parameter<Time> m_connect_timeout{*this, "ConnectTimeout", 2};
    Parameter<Time> m_timeout{*this, "Timeout", 5};
    Parameter<int> m_max_connections{*this, "MaxConnections", 8};
    Parameter<Time> m_idle_timeout{*this, "IdleTimeout", 60};
    Parameter<Time> m_cache_time{*this, "CacheTime", 0};
    Parameter<Time> m_negative_cache_time{*this, "NegativeCacheTime", 0};
    Parameter<int> m_cache_size{*this, "CacheSize", 10000};
    Parameter<Time> m_stale_time{*this, "StaleTime", 0};
    Parameter<int> m_max_rows{*this, "MaxRows", 100};
    Parameter<std::string> m_tls{*this, "Tls"};
    Parameter<bool> m_tls_verify{*this, "TlsVerify", true};
    Parameter<std::string> m_tls_ca_file{*this, "TlsCaFile"};
    Parameter<std::string> m_tls_cert_file{*this, "TlsCertFile"};
    Parameter<std::string> m_tls_key_file{*this, "TlsKeyFile"};
    Parameter<std::string> m_user{*this, "User"};
    Parameter<std::string> m_password{*this, "Password"};
    Parameter<std::string> m_database{*this, "Database"};
};

} // namespace kwlookup
