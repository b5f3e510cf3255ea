// SPDX-License-Identifier: MIT
#include "plugins/oracle/OracleConfig.h"

#include "plugins/oracle/OracleClient.h"

#include <stdexcept>

namespace kwlookup {
namespace {

constexpr std::uint16_t PORT = 1521;

/// What a service's name has. Other characters could begin something else in the descriptor of the
/// connection.
constexpr char SERVICE_BYTES[] =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-$#";

} // namespace

ServerSettings OracleConfig::GetSettings() const {
    const bool has_hosts = !GetVal<std::string>("Hosts").empty();
    ServerSettings settings = GetServerSettings(PORT, "localhost");
    if (settings.database.empty())
        throw std::invalid_argument("Database is not set");
    if (settings.user.empty())
        throw std::invalid_argument("User is not set");
    if (settings.tls.mode != TlsSettings::Mode::No)
        throw std::invalid_argument("Tls cannot be set: name a service with TCPS in Database");
    if (has_hosts) {
        if (settings.database.find_first_not_of(SERVICE_BYTES) != std::string::npos)
            throw std::invalid_argument("Wrong Database setting [" + settings.database +
                                        "]: wait the name of a service");
        for (const Server& server : settings.servers)
            if (server.IsUnix())
                throw std::invalid_argument("Hosts has a unix socket: Oracle has none");
    } else {
        settings.servers.front().host = settings.database;
        settings.servers.front().port = 0;
    }
    settings.of_type = m_library.Get().empty() ? "libclntsh.so" : m_library.Get();
    OracleClient::Open(settings.of_type);
    return settings;
}

} // namespace kwlookup
