// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Resolve.h"
#include "families/servers/Server.h"
#include "families/servers/ServerFault.h"

#include <chrono>
#include <cstddef>
#include <vector>

namespace kwlookup {

/// Call `connect(address, deadline, reached)` for each address of `server`, until a call does not
/// throw ServerFault. Each call gets a share of the time. A call that has reached the server sets
/// `reached`; then no other address is tried, because the server would refuse us there too.
///
/// Throws what Resolve() and the last call throw.
template <typename Connect>
void ConnectToAny(const Server& server, Deadline deadline, Connect&& connect) {
    const std::vector<Address> addresses = Resolve(server, deadline);
    for (std::size_t left = addresses.size();; --left) {
        const std::chrono::milliseconds share(deadline.GetMsLeft() / static_cast<int>(left));
        bool reached = false;
        try {
            return connect(addresses[addresses.size() - left], deadline.Within(share), reached);
        } catch (const ServerFault&) {
            if (reached || left == 1)
                throw;
        }
    }
}

} // namespace kwlookup
