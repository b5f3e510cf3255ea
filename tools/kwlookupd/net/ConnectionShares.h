// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>

namespace kwlookup {

// How many of its active connections a loop gives to another one. Loads are in percent: see
// LoopLoad. Few busy loops are quicker than many that often wait.

/// Returns how many a loop gives to the idlest one, so that it can keep up.
inline std::size_t CountToGive(int load, int idlest_load, std::size_t connections) {
    // A loop that waits for its clients now and then is quicker than two that share them.
    constexpr int TOO_BUSY = 95;
    constexpr int DIFFERENCE = 30; // less would move connections back and forth
    if (load < TOO_BUSY || idlest_load + DIFFERENCE > load)
        return 0;
    // Half the difference would make both equally busy. Half of that leaves time to clients on the
    // processor of the idler one; a loop that is still too busy gives again. Rounded to the
    // nearest, so that one of two connections is given.
    const auto difference = static_cast<std::size_t>(load - idlest_load);
    return (connections * difference / static_cast<std::size_t>(load) + 2) / 4;
}

/// Returns how many a loop gives to one before it, so that few loops are busy.
inline std::size_t CountToReturn(int load, int load_before, std::size_t connections) {
    constexpr int HAS_ROOM = 80;    // from here to BUSY_ENOUGH nothing is moved
    constexpr int BUSY_ENOUGH = 90; // below TOO_BUSY, so that the other can keep up
    if (load_before >= HAS_ROOM)
        return 0;
    // Rounded down, so that they are not given back at once.
    const auto room = static_cast<std::size_t>(BUSY_ENOUGH - load_before);
    return std::min(connections, connections * room / static_cast<std::size_t>(std::max(load, 1)));
}

} // namespace kwlookup
