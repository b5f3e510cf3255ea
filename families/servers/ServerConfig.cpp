// SPDX-License-Identifier: MIT
#include "families/servers/ServerConfig.h"

#include "conf/ConfParser.h"
#include "families/servers/ServerList.h"

#include <boost/algorithm/string/predicate.hpp>

#include <stdexcept>

namespace kwlookup {
namespace {

constexpr int DAY_S = 86400;
/// Each connection costs a descriptor here and a process or a thread in the server.
constexpr int MOST_CONNECTIONS = 1000;
/// Some hundred bytes each.
constexpr int MOST_CACHED = 10000000;

bool IsRandom(const std::string& text) {
    if (text.empty() || boost::algorithm::iequals(text, "order"))
        return false;
    if (boost::algorithm::iequals(text, "random"))
        return true;
    throw std::invalid_argument("Wrong Balance setting [" + text + "]: wait 'order' or 'random'");
}

TlsSettings::Mode TlsModeOf(const std::string& text) {
    if (text.empty() || ConfParser::IsFalse(text))
        return TlsSettings::Mode::NO;
    if (boost::algorithm::iequals(text, "starttls"))
        return TlsSettings::Mode::STARTTLS;
    if (boost::algorithm::iequals(text, "require"))
        return TlsSettings::Mode::REQUIRE;
    throw std::invalid_argument("Wrong Tls setting [" + text +
                                "]: wait 'no', 'starttls' or 'require'");
}

void CheckRange(const char* name, int value, int least, int most, const char* unit = "") {
    if (value < least || value > most)
        throw std::invalid_argument(std::string(name) + " must be from " + std::to_string(least) +
                                    " to " + std::to_string(most) + unit);
}

} // namespace

std::vector<KwLookupSharedConf::params_t> ServerConfig::GetParams() const {
    return {
        Param("Hosts", &m_hosts, IfConfParser::VT_STRING),
        Param("Balance", &m_balance, IfConfParser::VT_STRING),
        Param("RetryInterval", &m_retry_interval, IfConfParser::VT_TIME, &RETRY_INTERVAL_S),
        Param("ConnectTimeout", &m_connect_timeout, IfConfParser::VT_TIME, &CONNECT_TIMEOUT_S),
        Param("Timeout", &m_timeout, IfConfParser::VT_TIME, &TIMEOUT_S),
        Param("MaxConnections", &m_max_connections, IfConfParser::VT_INT, &MAX_CONNECTIONS),
        Param("IdleTimeout", &m_idle_timeout, IfConfParser::VT_TIME, &IDLE_TIMEOUT_S),
        Param("CacheTime", &m_cache_time, IfConfParser::VT_TIME, &NO_TIME),
        Param("NegativeCacheTime", &m_negative_cache_time, IfConfParser::VT_TIME, &NO_TIME),
        Param("CacheSize", &m_cache_size, IfConfParser::VT_INT, &CACHE_SIZE),
        Param("StaleTime", &m_stale_time, IfConfParser::VT_TIME, &NO_TIME),
        Param("MaxRows", &m_max_rows, IfConfParser::VT_INT, &MAX_ROWS),
        Param("Tls", &m_tls, IfConfParser::VT_STRING),
        Param("TlsVerify", &m_tls_verify, IfConfParser::VT_BOOL, &TLS_VERIFY),
        Param("TlsCaFile", &m_tls_ca_file, IfConfParser::VT_STRING),
        Param("TlsCertFile", &m_tls_cert_file, IfConfParser::VT_STRING),
        Param("TlsKeyFile", &m_tls_key_file, IfConfParser::VT_STRING),
        Param("User", &m_user, IfConfParser::VT_STRING),
        Param("Password", &m_password, IfConfParser::VT_STRING),
        Param("Database", &m_database, IfConfParser::VT_STRING),
    };
}

void ServerConfig::PostInit() {
    TypeConfig::PostInit();
    IsRandom(m_balance);
    TlsModeOf(m_tls);
    CheckRange("RetryInterval", m_retry_interval, 0, DAY_S, " seconds");
    CheckRange("ConnectTimeout", m_connect_timeout, 1, DAY_S, " seconds");
    CheckRange("Timeout", m_timeout, 1, DAY_S, " seconds");
    CheckRange("MaxConnections", m_max_connections, 1, MOST_CONNECTIONS);
    CheckRange("IdleTimeout", m_idle_timeout, 0, DAY_S, " seconds");
    CheckRange("CacheTime", m_cache_time, 0, DAY_S, " seconds");
    CheckRange("NegativeCacheTime", m_negative_cache_time, 0, DAY_S, " seconds");
    CheckRange("CacheSize", m_cache_size, 1, MOST_CACHED);
    CheckRange("StaleTime", m_stale_time, 0, DAY_S, " seconds");
    if (m_max_rows < 1)
        throw std::invalid_argument("MaxRows must be at least 1");
}

ServerSettings ServerConfig::GetServerSettings(std::uint16_t default_port) const {
    using std::chrono::seconds;
    ServerSettings settings;
    settings.servers = ParseServerList(GetVal<std::string>("Hosts"), default_port);
    settings.random = IsRandom(GetVal<std::string>("Balance"));
    settings.retry_interval = seconds(GetVal<int>("RetryInterval"));
    settings.connect_timeout = seconds(GetVal<int>("ConnectTimeout"));
    settings.timeout = seconds(GetVal<int>("Timeout"));
    settings.max_connections = static_cast<std::size_t>(GetVal<int>("MaxConnections"));
    settings.idle_timeout = seconds(GetVal<int>("IdleTimeout"));
    settings.cache_time = seconds(GetVal<int>("CacheTime"));
    settings.negative_cache_time = seconds(GetVal<int>("NegativeCacheTime"));
    settings.cache_size = static_cast<std::size_t>(GetVal<int>("CacheSize"));
    settings.stale_time = seconds(GetVal<int>("StaleTime"));
    settings.max_rows = static_cast<std::size_t>(GetVal<int>("MaxRows"));
    settings.tls.mode = TlsModeOf(GetVal<std::string>("Tls"));
    settings.tls.verify = GetVal<bool>("TlsVerify");
    settings.tls.ca_file = GetVal<std::string>("TlsCaFile");
    settings.tls.cert_file = GetVal<std::string>("TlsCertFile");
    settings.tls.key_file = GetVal<std::string>("TlsKeyFile");
    settings.user = GetVal<std::string>("User");
    settings.password = GetVal<std::string>("Password");
    settings.database = GetVal<std::string>("Database");
    if (settings.tls.cert_file.empty() && !settings.tls.key_file.empty())
        throw std::invalid_argument("TlsKeyFile is set without TlsCertFile");
    return settings;
}

} // namespace kwlookup
