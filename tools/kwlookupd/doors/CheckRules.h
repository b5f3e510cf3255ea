// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"

#include <string_view>
#include <vector>

namespace kwlookup {

/// Throws std::invalid_argument "there is no attribute NAME; there are ..." when a rule of `config`
/// has none of `attributes`, and "Ask has no rules" when there is no rule.
void CheckRules(const DoorConfig& config, const std::vector<std::string_view>& attributes);

} // namespace kwlookup
