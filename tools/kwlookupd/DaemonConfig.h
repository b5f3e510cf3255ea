// SPDX-License-Identifier: MIT
#pragma once

#include "kwhost/ConfFile.h"
#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/lists/ListSettings.h"
#include "tools/kwlookupd/net/ServerSettings.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// The configuration of the daemon, from its file. kwlookupd.conf(5) describes the keys.
struct DaemonConfig {
    std::size_t io_threads = 0; ///< 0: one for each processor
    std::size_t workers = ServerSettings().workers;
    std::chrono::milliseconds answer_time{900};
    std::chrono::milliseconds slow_time{500};
    std::chrono::milliseconds idle_time{0}; ///< 0: connections may be idle for ever
    std::size_t max_connections = 10000;
    std::size_t max_in_flight = 1000;
    std::string user;               ///< to become after the sockets are bound; empty: stay
    std::string control;            ///< the path of the control socket; empty: none
    bool syslog = false;            ///< log to syslog, not to standard error
    bool debug = false;             ///< log debug messages
    std::vector<std::string> types; ///< of plug-ins from elsewhere

    std::vector<ListSettings> lists; ///< in the order of the file
    std::vector<DoorConfig> doors;   ///< in the order of the file

    ConfFile file;                   ///< has the sections of plug-ins, too
    std::vector<std::string> errors; ///< all of them, each as "FILE:LINE: TEXT"

    /// Returns "FILE:LINE: " with the line of the section, to begin a message with.
    std::string Place(const std::string& section) const;
};

/// Reads the file `name`. Does not check whether plug-ins can be loaded. Throws std::runtime_error
/// as ConfFile does.
DaemonConfig ReadDaemonConfig(const std::string& name);

} // namespace kwlookup
