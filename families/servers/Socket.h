// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "text/FileDescriptor.h"

namespace kwlookup {

/// Wait until `fd` has one of `events` of poll(2), or an error. False if the deadline passes first.
/// Signals do not end the wait. Throws std::system_error.
bool WaitFor(int fd, short events, Deadline deadline);

/// A connected socket: non-blocking, closed on exec, without delay of small packets. All addresses
/// of `server` are tried, and each leaves time for the next ones.
///
/// Throws ServerFault with the reason of the last address, such as "Connection refused" or
/// "Connection timed out", and what Resolve() throws.
/// Threads: any.
FileDescriptor ConnectSocket(const Server& server, Deadline deadline);

} // namespace kwlookup
