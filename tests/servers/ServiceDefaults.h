// SPDX-License-Identifier: MIT
#pragma once

/// What a `Service` of ServerFaultsTest says of its type, unless it says otherwise.
struct ServiceDefaults {
    /// Connects by unix sockets too.
    bool HasSocket() const { return true; }

    /// The reason when the look-up of a name hangs, and when nobody listens.
    const char* GetHangingLookup() const { return "name look-up"; }
    const char* GetRefusal() const { return "Connection refused"; }

    /// Tests make only every so manieth of many connections and searches: more than 1 where these
    /// are slow.
    int GetShare() const { return 1; }
};
