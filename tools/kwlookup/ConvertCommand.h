// SPDX-License-Identifier: MIT
#pragma once

#include "tools/lists/Warnings.h"

#include <string>

namespace kwlookup {

/// `kwlookup convert`: print the records of the file `input` ("-": standard input), which has the
/// format of postmap(1), as a list of values, in the order in which a mail server searches for
/// them. A key that a list cannot express is an error. Returns the exit status. Throws
/// std::runtime_error "NAME: REASON" if the file cannot be read.
int RunConvertCommand(const std::string& input, Warnings::Mode mode, const LogClass& log);

} // namespace kwlookup
