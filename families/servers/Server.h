// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace kwlookup {

/// The address of a server: a host and a port, or a unix socket.
struct Server {
    std::string host;       ///< a name or an address, without brackets; empty for a unix socket
    std::uint16_t port = 0; ///< 0: the host is a name that only the type's library knows
    std::string path;       ///< the unix socket

    bool IsUnix() const { return host.empty(); }

    /// The name as in `Hosts`, with the port: "db.corp.lan:5432", "[::1]:5432",
    /// "unix:/run/db.sock".
    std::string GetName() const {
        if (IsUnix())
            return "unix:" + path;
        if (port == 0)
            return host;
        const bool brackets = host.find(':') != std::string::npos;
        return (brackets ? '[' + host + ']' : host) + ':' + std::to_string(port);
    }

    bool operator==(const Server& other) const {
        return host == other.host && port == other.port && path == other.path;
    }
};

} // namespace kwlookup
