// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"

#include <optional>
#include <string>

namespace kwlookup {

/// The error of a cluster node that cannot answer for a key.
struct Redirection {
    enum class Kind {
        Moved, ///< another node has the slot of the key
        Ask,   ///< another node has this key, while the slot is being moved there
        Down   ///< the cluster cannot answer for this slot now
    };

    Kind kind = Kind::Down;
    Server server;    ///< the other node
    std::string text; ///< the name of the node and its message, "NAME: TEXT"

    /// Parse "MOVED SLOT HOST:PORT", "ASK SLOT HOST:PORT" or "CLUSTERDOWN REASON" from the node
    /// `from`, whose host replaces a missing one. Empty for another text.
    static std::optional<Redirection> Read(const std::string& text, const Server& from);
};

} // namespace kwlookup
