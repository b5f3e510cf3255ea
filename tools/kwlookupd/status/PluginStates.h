// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// What monitoring and the status page tell of the plug-ins.
struct PluginStates {
    struct Server {
        std::string type, name;
        bool up = true; ///< false if it failed when it was asked last
    };
    struct Answers {
        std::string type;
        std::string origin; ///< where they came from: server, cache, joined or stale
        std::uint64_t count = 0;
    };
    std::vector<Server> servers;
    std::vector<Answers> answers;
};

} // namespace kwlookup
