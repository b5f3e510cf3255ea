// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "tools/lists/ItemList.h"

#include <string>

namespace kwlookup {

struct CompareOptions {
    std::string lists[2];
    int flags = 0;     ///< KwFindFlags
    bool raw = false;  ///< fields are written byte for byte
    bool null = false; ///< a NUL ends each text and each line
    ListChecks checks;
};

/// `kwlookup compare`: ask two lists about the lines of standard input, and print those for which
/// they differ in match or result. Returns the exit status; EXIT_FOUND means "no difference".
int RunCompareCommand(const CompareOptions& options, const LogClass& log);

} // namespace kwlookup
