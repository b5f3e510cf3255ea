// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ctime>
#include <string>

namespace kwlookup {

/// What monitoring and the status page tell of a list.
struct ListState {
    std::string name;
    bool loaded = false; ///< if not, its clients are told that it cannot be asked
    std::size_t records = 0;
    std::size_t generation = 0; ///< how often it has been swapped; 1 after the start
    std::time_t load_time = 0;
    bool rolled_back = false; ///< a newer list was loaded, and taken back

    // How the list differs from the one that it replaced.
    std::size_t added = 0;
    std::size_t removed = 0;
    std::size_t kept = 0;

    std::string fault; ///< why the last load failed or was refused; empty after a good one
};

} // namespace kwlookup
