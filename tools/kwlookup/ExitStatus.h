// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// The exit status of the tool, by which scripts distinguish a miss from a fault.
namespace ExitStatus {
enum : int {
    Found = 0,
    NotFound = 1,     ///< nothing found, and every item could answer
    Usage = 64,       ///< wrong usage
    Output = 74,      ///< the answers could not be written
    Unavailable = 75, ///< nothing found, and some item could not be loaded or asked
    BadList = 78      ///< the list has errors
};
} // namespace ExitStatus

} // namespace kwlookup
