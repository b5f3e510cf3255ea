// SPDX-License-Identifier: MIT
#pragma once

#include "Configuration.h"
#include "FindCommand.h"

namespace kwlookup {

/// `kwlookup watch`: ask about the lines of standard input as they arrive, and read the
/// configuration and the list again on SIGHUP. A failed reload is reported, and the old list stays
/// in use. SIGTERM ends the command as the end of the input does. `options.texts` is not used.
/// Returns the exit status.
int RunWatchCommand(const FindOptions& options, Configuration& configuration, LogClass& log);

} // namespace kwlookup
