// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The section of the host's configuration that is for the plug-ins of `type`.
inline std::string PluginSection(const std::string& type) {
    return "lookup_" + type;
}

} // namespace kwlookup
