// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <map>
#include <string>

namespace kwlookup {

/// Opens the socket of an `Address`: "127.0.0.1:8823", "[::1]:8823", "unix:/path", or
/// "systemd:NAME" for a socket that systemd has opened. `settings` have `mode` (0660 by default),
/// `owner` and `group` of the file of a UNIX socket. Such a file is replaced if no process listens
/// at it. The socket does not block. Throws std::invalid_argument if a setting is wrong, and
/// std::runtime_error "cannot listen at ADDRESS: REASON". Changes the umask while it runs.
FileDescriptor Listen(const std::string& address,
                      const std::map<std::string, std::string>& settings);

/// Checks whether Listen() can open the socket, and opens none. An address at which a process
/// listens is good: that may be the daemon that runs. Nor is a socket of systemd looked for. Throws
/// what Listen() throws.
void CheckListening(const std::string& address, const std::map<std::string, std::string>& settings);

/// Returns the address of a listening socket in the form that Listen() takes, with its real port.
std::string GetAddress(int socket);

/// Removes the file of a UNIX socket that this process listens at.
void RemoveSocketFile(int socket);

} // namespace kwlookup
