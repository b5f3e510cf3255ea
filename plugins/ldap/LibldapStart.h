// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

namespace kwlookup {

/// Wait until libldap can be used. On its first use in a process, libldap looks up the name of this
/// machine, without a time limit, so this happens in a thread of its own.
///
/// Throws ServerFault "libldap took too long to start", or with the reason why no thread can be
/// made.
/// Threads: any.
void AwaitLibldap(Deadline deadline);

} // namespace kwlookup
