// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlConfig.h"

#include "families/servers/SystemUser.h"
#include "plugins/mysql/MysqlConnector.h"

#include <boost/algorithm/string/predicate.hpp>

#include <stdexcept>

namespace kwlookup {

namespace {

constexpr std::uint16_t PORT = 3306;

/// The socket of Debian's server.
const char* const SOCKET = "unix:/run/mysqld/mysqld.sock";

std::string CharsetOf(const std::string& text) {
    using boost::algorithm::iequals;
    // The server's own "utf8" lacks characters of four bytes.
    const bool is_utf8 = text.empty() || iequals(text, "utf8") || iequals(text, "UTF-8");
    const MARIADB_CHARSET_INFO* const charset = FindCharset(is_utf8 ? "utf8mb4" : text);
    if (!charset || charset->char_minlen > 1)
        throw std::invalid_argument("Wrong Charset setting [" + text +
                                    "]: wait a character set that clients of the server may use");
    return charset->csname;
}

} // namespace

void MysqlConfig::PostInit() {
    ServerConfig::PostInit();
    CharsetOf(m_charset.GetOwn());
}

ServerSettings MysqlConfig::GetSettings() const {
    ServerSettings settings = GetServerSettings(PORT, SOCKET);
    settings.of_type = CharsetOf(m_charset.Get());
    if (settings.user.empty())
        settings.user = SystemUser();
    return settings;
}

} // namespace kwlookup
