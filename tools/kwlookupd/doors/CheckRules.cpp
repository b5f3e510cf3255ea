// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/CheckRules.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace kwlookup {

void CheckRules(const DoorConfig& config, const std::vector<std::string_view>& attributes) {
    if (config.rules.empty())
        throw std::invalid_argument("Ask has no rules");
    for (const DoorConfig::Rule& rule : config.rules) {
        if (std::find(attributes.begin(), attributes.end(), rule.attribute) != attributes.end())
            continue;
        std::string reason = "there is no attribute " + rule.attribute + "; there are";
        for (const std::string_view attribute : attributes)
            reason.append(" ").append(attribute);
        throw std::invalid_argument(reason);
    }
}

} // namespace kwlookup
