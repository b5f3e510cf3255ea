// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisConfig.h"

#include <boost/algorithm/string/predicate.hpp>

#include <charconv>
#include <stdexcept>

namespace kwlookup {
namespace {

constexpr std::uint16_t DEFAULT_PORT = 6379;

bool FromReplica(const std::string& text) {
    if (text.empty() || boost::algorithm::iequals(text, "master"))
        return false;
    if (boost::algorithm::iequals(text, "replica"))
        return true;
    throw std::invalid_argument("Wrong ReadFrom setting [" + text +
                                "]: wait 'master' or 'replica'");
}

bool IsDatabase(const std::string& text) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number >= 0;
}

} // namespace

void RedisConfig::PostInit() {
    ServerConfig::PostInit();
    FromReplica(m_read_from.GetOwn());
}

ServerSettings RedisConfig::GetSettings() const {
    ServerSettings settings = GetServerSettings(DEFAULT_PORT);
    if (!settings.database.empty() && !IsDatabase(settings.database))
        throw std::invalid_argument("Wrong Database setting [" + settings.database +
                                    "]: wait a number from 0 to 2147483647");
    if (!settings.user.empty() && settings.password.empty())
        throw std::invalid_argument("User is set without Password");
    if (settings.tls.mode == TlsSettings::Mode::StartTls)
        throw std::invalid_argument("Redis has no starttls: wait 'no' or 'require' for Tls");
    if (FromReplica(m_read_from.Get()))
        settings.of_type = READ_FROM_REPLICA;
    return settings;
}

} // namespace kwlookup
