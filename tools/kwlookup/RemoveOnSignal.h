// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <csignal>

namespace kwlookup {

/// Makes SIGHUP, SIGINT and SIGTERM remove a file before they end the process. A signal that was
/// ignored stays ignored.
///
/// Threads: one, and one such object at a time.
class RemoveOnSignal {
public:
    /// Keeps the address of `name`, which is read when a signal arrives.
    explicit RemoveOnSignal(const char* name);
    /// Restores the former actions of the signals.
    ~RemoveOnSignal();
    RemoveOnSignal(const RemoveOnSignal&) = delete;
    RemoveOnSignal& operator=(const RemoveOnSignal&) = delete;

private:
    std::array<struct sigaction, 3> m_before;
};

} // namespace kwlookup
