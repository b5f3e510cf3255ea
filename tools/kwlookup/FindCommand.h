// SPDX-License-Identifier: MIT
#pragma once

#include "Asker.h"
#include "ItemList.h"

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

/// `kwlookup find`: asks an object list about texts. Returns the exit status.
int RunFindCommand(const FindOptions& options, const LogClass& log);

/// `kwlookup -q`: asks a list about `key`, or with "-" the lines of standard input, and prints and
/// exits as postmap(1) does with -q: 1 stands for every failure too.
int RunQueryCommand(const std::string& key, const std::string& list, const ListChecks& checks,
                    const LogClass& log);

} // namespace kwlookup
