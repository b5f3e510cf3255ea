// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <mutex>
#include <string>

/// What tests see of the library that stands in for Oracle's client library, and what they tell it.
/// The library's function `StandInState` returns the address of the only one.
///
/// The library has the functions that the plug-in uses. It checks the arguments and the order of
/// all calls, and ends the process when one is wrong. A service is a file of SQLite, SERVICE.db in
/// `directory`. Its table `grants` has the names of the tables that may be read.
struct StandIn {
    std::string directory; ///< set it before the first call

    std::atomic<bool> is_down{false};         ///< no server can be connected to
    std::atomic<bool> hangs{false};           ///< statements on the table `slow` do not end
    std::atomic<bool> hangs_in_attach{false}; ///< connections are not made
    std::atomic<bool> knows_no_limit{false};  ///< of calls, as before version 18
    std::atomic<int> killed{0};               ///< sessions up to this one are dead

    std::atomic<int> sessions{0}; ///< that have begun since the start
    std::atomic<int> handles{0};  ///< that exist now
    std::atomic<int> prepared{0}; ///< statements since the start

    std::mutex lock;          ///< for the following members
    std::string last_address; ///< that a session connected to
    std::string last_text;    ///< of a statement
};
