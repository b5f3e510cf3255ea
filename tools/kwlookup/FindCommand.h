// SPDX-License-Identifier: MIT
#pragma once

#include "Asker.h"
#include "tools/lists/ItemList.h"

#include <string>
#include <vector>

namespace kwlookup {

struct FindOptions {
    std::string list;
    std::vector<std::string> texts; ///< "-" stands for the lines of standard input
    bool strict = false;
    ListChecks checks;
    Asker::Options ask;
};

/// `kwlookup find`: ask an object list about texts. Returns the exit status.
int RunFindCommand(const FindOptions& options, const LogClass& log);

/// `kwlookup -q`: ask a list about `key`, or with "-" about the lines of standard input. Prints and
/// exits as `postmap -q` does: every failure is an exit status of 1 too.
int RunQueryCommand(const std::string& key, const std::string& list, const ListChecks& checks,
                    const LogClass& log);

} // namespace kwlookup
