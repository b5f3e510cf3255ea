// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <chrono>
#include <string>

namespace kwlookup {

// What systemd and its services tell each other through the environment, without its library.

/// Takes the listening socket that systemd has opened under this name (FileDescriptorName= of the
/// socket unit). The name of an unnamed one is its number, from 1. Throws std::runtime_error
/// "systemd has no socket NAME for this process". A socket can be taken once.
FileDescriptor TakeSystemdSocket(const std::string& name);

/// Tells systemd the state of this service, such as "READY=1" or "STATUS=...". Does nothing if it
/// was not started by systemd. Threads: any.
void NotifySystemd(const std::string& state);

/// Returns how often systemd wants to hear "WATCHDOG=1", or zero if it does not.
std::chrono::microseconds GetWatchdogTime();

} // namespace kwlookup
