// SPDX-License-Identifier: MIT
#pragma once

#include "conf/IfConfParser.h"

#include <string>

namespace kwlookup {

/// ConfParser lets a number wrap that is too large for its variable. Whoever takes settings from
/// users asks here first.
///
/// "must be at most LIMIT", or "must be from LEAST to MOST", when `text`, or an item of the list
/// that it is, is a number that a variable of `type` cannot hold. Empty for every other text, also
/// for one that is no number, which ConfParser refuses.
///
/// Threads: any.
std::string PassedRange(IfConfParser::VarType type, const std::string& text);

} // namespace kwlookup
