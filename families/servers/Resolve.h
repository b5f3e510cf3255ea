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

    /// The address without the port, such as "127.0.0.1", or the path of a unix socket.
    std::string GetHost() const;
};

/// The addresses of `server`, at least one, in the order in which to try them.
///
/// A program cannot limit the time of the system's resolver. So a name is resolved in a thread of
/// its own, which is abandoned when the time is over. There are at most 16 such threads. Numeric
/// addresses and unix sockets need no thread.
///
/// Throws ServerFault with the resolver's reason, "name look-up took too long", or "too many name
/// look-ups do not end".
/// Threads: any.
std::vector<Address> Resolve(const Server& server, Deadline deadline);

} // namespace kwlookup
