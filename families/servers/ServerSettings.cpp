// SPDX-License-Identifier: MIT
#include "families/servers/ServerSettings.h"

namespace kwlookup {
namespace {

/// Append `text` with its length, so that different lists of texts have different keys.
void Append(std::string& key, const std::string& text) {
    key += std::to_string(text.size()) + ':' + text;
}

} // namespace

std::string ServerSettings::GetKey() const {
    std::string key;
    for (const Server& server : servers)
        Append(key, server.GetName());
    for (const long long number :
         {static_cast<long long>(random), static_cast<long long>(retry_interval.count()),
          static_cast<long long>(connect_timeout.count()), static_cast<long long>(timeout.count()),
          static_cast<long long>(max_connections), static_cast<long long>(idle_timeout.count()),
          static_cast<long long>(cache_time.count()),
          static_cast<long long>(negative_cache_time.count()), static_cast<long long>(cache_size),
          static_cast<long long>(stale_time.count()), static_cast<long long>(max_rows),
          static_cast<long long>(tls.mode), static_cast<long long>(tls.verify)})
        Append(key, std::to_string(number));
    for (const std::string* text :
         {&tls.ca_file, &tls.cert_file, &tls.key_file, &user, &password, &database, &of_type})
        Append(key, *text);
    return key;
}

} // namespace kwlookup
