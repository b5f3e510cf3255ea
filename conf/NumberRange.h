// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"

#include <string>

namespace kwlookup {

/// Returns why `text`, or an item of it if `type` is a list, is out of range for a variable of
/// `type`: "must be at most LIMIT" or "must be from LEAST to MOST". Returns an empty text for a
/// number in range, and for a text that is not a number, which ConfParser refuses.
///
/// ConfParser lets a number wrap that is too large, so call this first for the settings of users.
///
/// Threads: any.
std::string PassedRange(IfConfParser::VarType type, const std::string& text);

} // namespace kwlookup
