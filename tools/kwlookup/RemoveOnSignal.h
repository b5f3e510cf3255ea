// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <csignal>

namespace kwlookup {

/// While it lives, SIGHUP, SIGINT and SIGTERM remove a file before they end the process. A signal
/// that was ignored stays so.
///
/// Threads: one, and one such object at a time.
class RemoveOnSignal {
public:
    /// Keeps the address of `name`, which the signals look at when they come.
    explicit RemoveOnSignal(const char* name);
    /// The signals do again what they did before.
    ~RemoveOnSignal();
    RemoveOnSignal(const RemoveOnSignal&) = delete;
    RemoveOnSignal& operator=(const RemoveOnSignal&) = delete;

private:
    std::array<struct sigaction, 3> m_before;
};

} // namespace kwlookup
