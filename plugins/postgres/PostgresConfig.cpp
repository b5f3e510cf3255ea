// SPDX-License-Identifier: MIT
#include "plugins/postgres/PostgresConfig.h"

#include "families/servers/SystemUser.h"

#include <libpq-fe.h>
#include <stdexcept>

namespace kwlookup {

namespace {

constexpr std::uint16_t PORT = 5432;

/// The directory of the sockets of Debian's server.
const char* const SOCKETS = "unix:/run/postgresql";

std::string EncodingOf(const std::string& charset) {
    const int encoding =
        charset.empty() ? ::pg_char_to_encoding("UTF8") : ::pg_char_to_encoding(charset.c_str());
    if (encoding < 0)
        throw std::invalid_argument("Wrong Charset setting [" + charset +
                                    "]: wait an encoding that PostgreSQL knows");
    return ::pg_encoding_to_char(encoding);
}

} // namespace

void PostgresConfig::PostInit() {
    ServerConfig::PostInit();
    EncodingOf(m_charset.GetOwn());
}

ServerSettings PostgresConfig::GetSettings() const {
    ServerSettings settings = GetServerSettings(PORT, SOCKETS);
    settings.of_type = EncodingOf(m_charset.Get());
    if (settings.user.empty())
        settings.user = SystemUser();
    if (settings.database.empty())
        settings.database = settings.user;
    return settings;
}

} // namespace kwlookup
