// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/status/ListState.h"
#include "tools/kwlookupd/status/Metrics.h"
#include "tools/kwlookupd/status/PluginStates.h"

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// What a door can tell its clients about the daemon. Outlives the doors. Threads: any.
class DaemonView {
public:
    /// All keys of a list in one text.
    struct WholeList {
        /// A key a line, with its result after a blank; empty if `why_not` is not.
        std::string text;
        std::string etag; ///< with its quotes; differs whenever `text` does
        /// When `text` became as it is: later for each other text, so that it may be in the future
        /// if the list has changed twice in a second.
        std::time_t changed = 0;
        std::string why_not; ///< why the list cannot be given whole: it names the item
    };

    virtual ~DaemonView() = default;

    /// Returns the settings of all doors, by number.
    virtual const std::vector<DoorConfig>& GetDoors() const = 0;
    /// Returns the state of all lists, by number.
    virtual std::vector<ListState> GetLists() const = 0;
    virtual const Metrics& GetMetrics() const = 0;
    /// Returns what the plug-ins report.
    virtual PluginStates GetPlugins() const = 0;
    /// Returns the current time.
    virtual std::time_t GetTime() const { return std::time(nullptr); }
    /// Returns the list with this number; null if it is not loaded. Clients share one text. It is
    /// made when the first asks for it, and then whenever the list is replaced.
    virtual std::shared_ptr<const WholeList> GetWholeList(std::size_t list) const = 0;
};

} // namespace kwlookup
