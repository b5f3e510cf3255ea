// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

namespace kwlookup {

/// Waits until libldap can be used. When it is first used in a process, it asks the resolver for
/// the name of this machine, which has no time limit, so that happens in a thread of its own.
///
/// Throws ServerFault "libldap took too long to start", and the reason where no thread can be made.
/// Threads: any.
void AwaitLibldap(Deadline deadline);

} // namespace kwlookup
