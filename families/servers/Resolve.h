// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"

#include <string>
#include <sys/socket.h>
#include <vector>

namespace kwlookup {

/// An address to connect to.
struct Address {
    sockaddr_storage bytes;
    socklen_t size;

    /// The address of the host without the port, as in "127.0.0.1"; of a unix socket, its path.
    std::string GetHost() const;
};

/// The addresses of `server`, at least one, in the order to try them.
///
/// The system's resolver has no time limit that a program could set, so a name is resolved in a
/// thread of its own, which is left behind when the time is over; 16 of them at most. A numeric
/// address, and a unix socket, need none.
///
/// Throws ServerFault with the resolver's reason, "name look-up took too long", and "too many name
/// look-ups do not end".
/// Threads: any.
std::vector<Address> Resolve(const Server& server, Deadline deadline);

} // namespace kwlookup
