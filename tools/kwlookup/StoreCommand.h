// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <string>
#include <vector>

namespace kwlookup {

struct StoreOptions {
    std::string list;
    std::vector<std::string> values; ///< each "NAME=VALUE"; or "-" for the lines of standard input
};

/// What is wrong with the values of a command line; "" when nothing is.
std::string WhyNoRecord(const std::vector<std::string>& values);

/// `kwlookup store`: stores a record, or one for each line of standard input, into every item of an
/// object list. Returns the exit status.
int RunStoreCommand(const StoreOptions& options, const LogClass& log);

} // namespace kwlookup
