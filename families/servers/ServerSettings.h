// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/TlsSettings.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// The settings of an item's servers, read once when the item is loaded. Items with equal settings
/// share their connections. kw_lookup_servers(5) describes the members.
struct ServerSettings {
    std::vector<Server> servers;
    bool random = false;
    std::chrono::milliseconds retry_interval{0};
    std::chrono::milliseconds connect_timeout{0};
    std::chrono::milliseconds timeout{0};
    std::size_t max_connections = 1;
    std::chrono::milliseconds idle_timeout{0};
    std::chrono::milliseconds cache_time{0};
    std::chrono::milliseconds negative_cache_time{0};
    std::size_t cache_size = 0;
    std::chrono::milliseconds stale_time{0};
    std::size_t max_rows = 0;
    TlsSettings tls;
    std::string user;
    std::string password; ///< never shown in messages
    std::string database;

    /// The type's own parameters that make connections differ, each with its name.
    std::string of_type;

    /// Two settings are equal if their keys are equal. The key contains the password: never show it
    /// in messages.
    std::string GetKey() const;
};

} // namespace kwlookup
