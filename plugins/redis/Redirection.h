// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"

#include <optional>
#include <string>

namespace kwlookup {

/// What a node of a cluster says in place of an answer.
struct Redirection {
    enum class Kind {
        Moved, ///< another node has the slot of the key
        Ask,   ///< another node has this key already, while the slot moves there
        Down   ///< the cluster cannot answer for this slot now
    };

    Kind kind = Kind::Down;
    Server server;    ///< the other node
    std::string text; ///< "NAME: " of who said it, and its own words

    /// Reads "MOVED SLOT HOST:PORT", "ASK SLOT HOST:PORT" and "CLUSTERDOWN REASON"; `from` is who
    /// said it, and stands for a host that is left out. Nothing for another text.
    static std::optional<Redirection> Read(const std::string& text, const Server& from);
};

} // namespace kwlookup
