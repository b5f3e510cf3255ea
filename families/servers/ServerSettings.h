// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/TlsSettings.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// What an item's configuration says of its servers, read once when the item is loaded. Items with
/// equal settings share their connections. See ServerConfig for what the members mean.
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
    std::string password; ///< appears in no message
    std::string database;

    /// Parameters of the type, each with its name: what else makes connections differ.
    std::string of_type;

    /// Two settings are equal when their keys are. It holds the password: keep it out of messages.
    std::string GetKey() const;
};

} // namespace kwlookup
