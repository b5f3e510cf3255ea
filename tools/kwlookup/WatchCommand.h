// SPDX-License-Identifier: MIT
#pragma once

#include "Configuration.h"
#include "FindCommand.h"

namespace kwlookup {

/// `kwlookup watch`: asks the lines of standard input as they come, and re-reads the configuration
/// and the list on SIGHUP. A reload that fails is told, and the old list goes on answering. SIGTERM
/// ends it as the end of the input does. The texts of `options` are not used. Returns the exit
/// status.
int RunWatchCommand(const FindOptions& options, Configuration& configuration, LogClass& log);

} // namespace kwlookup
