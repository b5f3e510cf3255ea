// SPDX-License-Identifier: MIT
#pragma once

#include "Configuration.h"
#include "tools/lists/ItemList.h"

#include <string>

namespace kwlookup {

/// `kwlookup check`: load each section of the configuration, if there is one, and then `list`,
/// which may only be empty with a configuration. Print the numbers of objects, records and errors,
/// and report each error. Returns the exit status.
int RunCheckCommand(const std::string& list, const ListChecks& checks,
                    const Configuration& configuration, const LogClass& log);

} // namespace kwlookup
