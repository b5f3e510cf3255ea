// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// A TCP socket of this process that is connected.
struct ConnectedSocket {
    int fd;
    std::string name; ///< of the socket; the number of a closed descriptor may be used again
    int local_port;
    int peer_port;

    bool operator==(const ConnectedSocket& other) const {
        return fd == other.fd && name == other.name;
    }
};

/// Returns all of them; none where the system has no /proc.
///
/// Threads: any. Costs a few system calls for each descriptor of the process.
std::vector<ConnectedSocket> ListConnectedSockets();

/// Returns the sockets in `now` that are not in `before`.
std::vector<ConnectedSocket> NewSockets(const std::vector<ConnectedSocket>& before,
                                        const std::vector<ConnectedSocket>& now);

} // namespace kwlookup
