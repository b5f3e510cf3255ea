// SPDX-License-Identifier: MIT
#pragma once

#include "Warnings.h"

#include <string>

namespace kwlookup {

/// `kwlookup convert`: prints the records of the file `input` ("-": standard input), which is
/// written as postmap(1) reads it, as a list of values: those first that a mail server asks for
/// first. What a list cannot say is an error. Returns the exit status. Throws std::runtime_error
/// "NAME: REASON" when the file cannot be read.
int RunConvertCommand(const std::string& input, Warnings::Mode mode, const LogClass& log);

} // namespace kwlookup
