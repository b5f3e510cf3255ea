// SPDX-License-Identifier: MIT
#pragma once

#include "Asker.h"
#include "Configuration.h"

#include <string>

/// `kwlookup watch`: asks the lines of standard input as they come, and re-reads the configuration
/// and the list on SIGHUP. A reload that fails is told, and the old list goes on answering.
/// Returns the exit status.
int RunWatchCommand(const std::string& list, const Asker::Options& options,
                    Configuration& configuration, LogClass& log);
