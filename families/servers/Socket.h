// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "text/FileDescriptor.h"

namespace kwlookup {

/// Waits until one of `events` of poll(2), or an error, is there on `fd`; false when the deadline
/// passes first. Goes on after signals. Throws std::system_error.
bool WaitFor(int fd, short events, Deadline deadline);

/// A connected socket: non-blocking, closed on exec, without delay of small packets. Tries all
/// addresses of `server`; none may use up the time of those behind it.
///
/// Throws ServerFault with the reason of the last address, as "Connection refused" or "Connection
/// timed out", and what Resolve() throws.
/// Threads: any.
FileDescriptor ConnectSocket(const Server& server, Deadline deadline);

} // namespace kwlookup
