// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <string>
#include <vector>

namespace kwlookup {

struct StoreOptions {
    std::string list;
    std::vector<std::string> values; ///< each "NAME=VALUE", or only "-" for standard input
};

/// The error in the values of a command line, or "".
std::string WhyNoRecord(const std::vector<std::string>& values);

/// `kwlookup store`: store one record, or each line of standard input, in every item of an object
/// list. Returns the exit status.
int RunStoreCommand(const StoreOptions& options, const LogClass& log);

} // namespace kwlookup
