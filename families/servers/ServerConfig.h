// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerSettings.h"
#include "lookup/config/TypeConfig.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// The parameters of every type that asks servers; kw_lookup_servers(5) describes them. A type
/// derives its own, adds its parameters to GetParams(), and its rules to PostInit().
class ServerConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    std::vector<params_t> GetParams() const override;

    /// Throws std::invalid_argument for a value out of range, with the name and the range in the
    /// text, besides what the base throws.
    void PostInit() override;

    /// The values that count for an item. Throws std::invalid_argument as ParseServerList() does,
    /// and "TlsKeyFile is set without TlsCertFile".
    ServerSettings GetServerSettings(std::uint16_t default_port) const;

private:
    static constexpr int RETRY_INTERVAL_S = 60;
    static constexpr int CONNECT_TIMEOUT_S = 2;
    static constexpr int TIMEOUT_S = 5;
    static constexpr int MAX_CONNECTIONS = 8;
    static constexpr int IDLE_TIMEOUT_S = 60;
    static constexpr int NO_TIME = 0;
    static constexpr int CACHE_SIZE = 10000;
    static constexpr int MAX_ROWS = 100;
    static constexpr bool TLS_VERIFY = true;

    std::string m_hosts;
    std::string m_balance;
    int m_retry_interval = RETRY_INTERVAL_S;
    int m_connect_timeout = CONNECT_TIMEOUT_S;
    int m_timeout = TIMEOUT_S;
    int m_max_connections = MAX_CONNECTIONS;
    int m_idle_timeout = IDLE_TIMEOUT_S;
    int m_cache_time = NO_TIME;
    int m_negative_cache_time = NO_TIME;
    int m_cache_size = CACHE_SIZE;
    int m_stale_time = NO_TIME;
    int m_max_rows = MAX_ROWS;
    std::string m_tls;
    bool m_tls_verify = TLS_VERIFY;
    std::string m_tls_ca_file;
    std::string m_tls_cert_file;
    std::string m_tls_key_file;
    std::string m_user;
    std::string m_password;
    std::string m_database;
};

} // namespace kwlookup
