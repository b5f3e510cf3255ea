// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Returns the name of the section that configures the plug-in type `type`.
inline std::string PluginSection(const std::string& type) {
    return "lookup_" + type;
}

} // namespace kwlookup
