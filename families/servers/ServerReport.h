// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/ServerHealth.h"

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// What this plug-in reports to the monitoring of its host; see PluginFigures. While it lives, an
/// object reports the servers of a ServerSet.
///
/// Several sets may have the same server. It counts as failed if it failed in one of them, unless a
/// set that was made later has not failed: lists keep old sets after a change of the configuration,
/// and nobody asks those.
///
/// Threads: any.
class ServerReport {
public:
    /// Where the answer of a search came from.
    enum class Origin {
        Server,
        Cache,
        Joined, ///< an equal search at the same time asked
        Stale   ///< an old answer, since no server could be asked
    };

    /// `names` are those of the servers of `health`, which outlives this object.
    ServerReport(ServerHealth& health, std::vector<std::string> names);
    ~ServerReport();
    ServerReport(const ServerReport&) = delete;
    ServerReport& operator=(const ServerReport&) = delete;

    /// Reports from now on, for the type whose configuration section has this name. It must be
    /// valid until the process ends.
    static void Begin(const char* section);

    /// Counts an answer. Costs some 5 ns.
    static void Count(Origin origin) noexcept;

private:
    struct Known;

    struct Set {
        ServerHealth& health;
        std::vector<std::string> names;
        Deadline::Clock::time_point made;
    };

    const std::shared_ptr<Known> m_known;
    std::list<Set>::iterator m_set;
};

} // namespace kwlookup
