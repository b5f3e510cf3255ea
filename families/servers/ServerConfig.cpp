// SPDX-License-Identifier: MIT
#include "families/servers/ServerConfig.h"

#include "conf/ConfParser.h"
#include "families/servers/ServerList.h"

#include <boost/algorithm/string/predicate.hpp>

#include <stdexcept>

namespace kwlookup {
namespace {

constexpr int DAY_S = 86400;
/// Each connection takes a descriptor here and a process or thread in the server.
constexpr int MOST_CONNECTIONS = 1000;
/// Each answer takes some hundred bytes.
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
        return TlsSettings::Mode::No;
    if (boost::algorithm::iequals(text, "starttls"))
        return TlsSettings::Mode::StartTls;
    if (boost::algorithm::iequals(text, "require"))
        return TlsSettings::Mode::Require;
    throw std::invalid_argument("Wrong Tls setting [" + text +
                                "]: wait 'no', 'starttls' or 'require'");
}

} // namespace

void ServerConfig::PostInit() {
    TypeConfig::PostInit();
    IsRandom(m_balance.GetOwn());
    TlsModeOf(m_tls.GetOwn());
    m_retry_interval.CheckRange(0, DAY_S);
    m_connect_timeout.CheckRange(1, DAY_S);
    m_timeout.CheckRange(1, DAY_S);
    m_max_connections.CheckRange(1, MOST_CONNECTIONS);
    m_idle_timeout.CheckRange(0, DAY_S);
    m_cache_time.CheckRange(0, DAY_S);
    m_negative_cache_time.CheckRange(0, DAY_S);
    m_cache_size.CheckRange(1, MOST_CACHED);
    m_stale_time.CheckRange(0, DAY_S);
    if (m_max_rows.GetOwn() < 1)
        throw std::invalid_argument("MaxRows must be at least 1");
}

ServerSettings ServerConfig::GetServerSettings(std::uint16_t default_port,
                                               const std::string& default_hosts) const {
    using std::chrono::seconds;
    ServerSettings settings;
    const std::string& hosts = m_hosts.Get();
    settings.servers = ParseServerList(hosts.empty() ? default_hosts : hosts, default_port);
    settings.random = IsRandom(m_balance.Get());
    settings.retry_interval = seconds(m_retry_interval.Get());
    settings.connect_timeout = seconds(m_connect_timeout.Get());
    settings.timeout = seconds(m_timeout.Get());
    settings.max_connections = static_cast<std::size_t>(m_max_connections.Get());
    settings.idle_timeout = seconds(m_idle_timeout.Get());
    settings.cache_time = seconds(m_cache_time.Get());
    settings.negative_cache_time = seconds(m_negative_cache_time.Get());
    settings.cache_size = static_cast<std::size_t>(m_cache_size.Get());
    settings.stale_time = seconds(m_stale_time.Get());
    settings.max_rows = static_cast<std::size_t>(m_max_rows.Get());
    settings.tls.mode = TlsModeOf(m_tls.Get());
    settings.tls.verify = m_tls_verify.Get();
    settings.tls.ca_file = m_tls_ca_file.Get();
    settings.tls.cert_file = m_tls_cert_file.Get();
    settings.tls.key_file = m_tls_key_file.Get();
    settings.user = m_user.Get();
    settings.password = m_password.Get();
    settings.database = m_database.Get();
    if (settings.tls.cert_file.empty() && !settings.tls.key_file.empty())
        throw std::invalid_argument("TlsKeyFile is set without TlsCertFile");
    return settings;
}

} // namespace kwlookup
