// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// Lets SIGTERM end the process with a given exit status while an object of this class exists.
/// Otherwise the signal stays pending. If it was ignored, it still is.
///
/// Threads: one.
class TerminationAllowed {
public:
    /// Call once, before the first object is made.
    static void Prepare();

    /// `status` is the exit status. Flush all output before: no destructor will run.
    explicit TerminationAllowed(int status);
    ~TerminationAllowed();
    TerminationAllowed(const TerminationAllowed&) = delete;
    TerminationAllowed& operator=(const TerminationAllowed&) = delete;
};

} // namespace kwlookup
