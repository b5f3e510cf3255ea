// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// Figures that plug-ins report about themselves, for a host that is monitored.
///
/// Threads: any.
class KW_EXPORT PluginFigures {
public:
    /// One figure. A host ignores names that it does not know.
    ///
    /// | name | label | value |
    /// |---|---|---|
    /// | server_up | a server | 0 if it failed when it was asked last, otherwise 1 |
    /// | answers | where they came from: server, cache, joined or stale | how many so far |
    struct Figure {
        std::string type;    ///< of the plug-in, such as "redis"
        std::string name;    ///< what it is
        std::string label;   ///< what it is of
        std::uint64_t value; ///< what it is at the moment
    };

    /// Appends the figures of a plug-in. Called in any thread, perhaps in several at once, until
    /// the process ends.
    using Report = void (*)(std::vector<Figure>& figures);

    /// For plug-ins: calls `report` in each GetAll() from now on. A plug-in does this once.
    static void Register(Report report);

    /// For hosts: returns the figures of all plug-ins. Costs about a microsecond a server. Throws
    /// std::bad_alloc.
    static std::vector<Figure> GetAll();
};

} // namespace kwlookup
