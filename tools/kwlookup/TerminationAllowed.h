// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// While one lives, SIGTERM ends the process with a status of its own, wherever it waits; outside
/// of that the signal stays pending. Where it was ignored, it still is.
///
/// Threads: one.
class TerminationAllowed {
public:
    /// Call once, before the first one is made.
    static void Prepare();

    /// `status` is the exit status. Nothing may be left to write: no destructor runs.
    explicit TerminationAllowed(int status);
    ~TerminationAllowed();
    TerminationAllowed(const TerminationAllowed&) = delete;
    TerminationAllowed& operator=(const TerminationAllowed&) = delete;
};

} // namespace kwlookup
