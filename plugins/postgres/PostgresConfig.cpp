// SPDX-License-Identifier: MIT
#include "plugins/postgres/PostgresConfig.h"

#include <array>
#include <libpq-fe.h>
#include <pwd.h>
#include <stdexcept>
#include <unistd.h>

namespace kwlookup {

namespace {

constexpr std::uint16_t PORT = 5432;

/// Where Debian's server has its sockets.
const char* const SOCKETS = "unix:/run/postgresql";

/// More than any entry of a table of users has.
constexpr std::size_t LONGEST_USER = 16384;

std::string EncodingOf(const std::string& charset) {
    const int encoding =
        charset.empty() ? ::pg_char_to_encoding("UTF8") : ::pg_char_to_encoding(charset.c_str());
    if (encoding < 0)
        throw std::invalid_argument("Wrong Charset setting [" + charset +
                                    "]: wait an encoding that PostgreSQL knows");
    return ::pg_encoding_to_char(encoding);
}

/// The name of the user that the process runs as; empty where it has none.
std::string SystemUser() {
    std::array<char, LONGEST_USER> texts;
    passwd entry;
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, texts.data(), texts.size(), &found);
    return found ? found->pw_name : std::string();
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
    if (settings.user.empty())
        throw std::invalid_argument("User is not set");
    if (settings.database.empty())
        settings.database = settings.user;
    return settings;
}

} // namespace kwlookup
