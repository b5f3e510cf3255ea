// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcConfig.h"

#include "conf/ConfParser.h"
#include "plugins/odbc/ConnectionText.h"

#include <boost/algorithm/string/trim.hpp>

#include <stdexcept>

namespace kwlookup {

namespace {

/// The name in messages of the database that a connection string without hosts names.
const char* const NAMELESS = "odbc";

/// The driver manager's limits for the name of a data source.
constexpr std::size_t LONGEST_DSN = 32;
const char* const NOT_IN_DSN = "[]{}(),;?*=!@\\";

std::vector<Server> ParseDsn(const std::string& text) {
    std::vector<std::string> names;
    ConfParser::SplitVector(text, names, ',');
    std::vector<Server> servers;
    for (std::string& name : names) {
        boost::algorithm::trim(name);
        if (name.empty() || name.size() > LONGEST_DSN ||
            name.find_first_of(NOT_IN_DSN) != std::string::npos ||
            name.find('\0') != std::string::npos)
            throw std::invalid_argument("Wrong Dsn setting [" + name +
                                        "]: wait the name of a data source");
        Server server;
        server.host = name;
        servers.push_back(std::move(server));
    }
    return servers;
}

} // namespace

ServerSettings OdbcConfig::GetSettings() const {
    // Drivers have no common default port.
    ServerSettings settings = GetServerSettings(0, NAMELESS);
    const std::string& dsn = m_dsn.Get();
    const std::string& connection = m_connection.Get();
    if (dsn.empty() == connection.empty())
        throw std::invalid_argument("either Dsn or Connection must be set");
    if (settings.tls.mode != TlsSettings::Mode::No || !settings.database.empty())
        throw std::invalid_argument("the driver knows nothing of Tls and Database: set them in the "
                                    "data source, or in Connection");
    const bool has_hosts = !GetVal<std::string>("Hosts").empty();
    if (!dsn.empty()) {
        if (has_hosts)
            throw std::invalid_argument("Hosts needs Connection");
        settings.servers = ParseDsn(dsn);
        return settings;
    }
    CheckConnectionText(connection);
    const bool has_host = connection.find(HOST_CODE) != std::string::npos;
    const bool has_port = connection.find(PORT_CODE) != std::string::npos;
    if (has_hosts && !has_host)
        throw std::invalid_argument("Hosts is set, and Connection has no $h");
    if (!has_hosts && (has_host || has_port))
        throw std::invalid_argument("Connection has $h or $p, and Hosts is not set");
    for (const Server& server : settings.servers) {
        if (server.IsUnix())
            throw std::invalid_argument("Hosts has a unix socket: name it in Connection");
        if (has_port && server.port == 0)
            throw std::invalid_argument("Connection has $p, and Hosts a host without a port");
    }
    settings.of_type = connection;
    return settings;
}

} // namespace kwlookup
