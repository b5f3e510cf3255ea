// SPDX-License-Identifier: MIT
#pragma once

#include "Configuration.h"
#include "ItemList.h"

#include <string>

namespace kwlookup {

/// `kwlookup check`: reads the whole configuration, opening each type that it configures, and makes
/// the objects of a list, unless it is empty; says what there is and what is wrong. Returns the
/// exit status.
int RunCheckCommand(const std::string& list, const ListChecks& checks,
                    const Configuration& configuration, const LogClass& log);

} // namespace kwlookup
