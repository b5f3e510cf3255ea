// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// The exit status of the tool: part of its interface, so that scripts can tell a miss from a
/// fault.
enum ExitStatus : int {
    EXIT_FOUND = 0,
    EXIT_NOT_FOUND = 1,    ///< nothing found, and every item could answer
    EXIT_USAGE = 64,       ///< wrong usage
    EXIT_OUTPUT = 74,      ///< the answers could not be written
    EXIT_UNAVAILABLE = 75, ///< nothing found, and some item could not be loaded or asked
    EXIT_BAD_LIST = 78     ///< the list has errors
};

} // namespace kwlookup
