// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <string>

/// `kwlookup check`: makes the objects of a list, and says how many there are and what is wrong.
/// Returns the exit status.
int RunCheckCommand(const std::string& list, const LogClass& log);
