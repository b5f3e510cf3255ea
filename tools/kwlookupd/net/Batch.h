// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"

#include <array>
#include <cstddef>
#include <vector>

namespace kwlookup {

class Connection;

/// Requests of some connections that were read, and are answered together: their searches wait for
/// memory at the same time. The memory is reused.
struct Batch {
    /// Those of MAX_SHARES clients with 16 requests in flight each. Searches are quickest together.
    static constexpr std::size_t MAX_REQUESTS = 128;
    /// Few, because the answer to the first waits until the last has been read.
    static constexpr std::size_t MAX_SHARES = 8;

    struct Request {
        Query query;
        std::vector<Reply> replies{1};
        bool answered = false; ///< `replies` has the answer
    };
    /// Requests of one connection.
    struct Share {
        Connection* connection;
        std::size_t begin, end; ///< in `requests`
        bool more;              ///< its input may hold another request
    };

    bool IsFull() const { return count == MAX_REQUESTS || shares.size() >= MAX_SHARES; }

    std::array<Request, MAX_REQUESTS> requests;
    std::size_t count = 0; ///< of the requests
    std::vector<Share> shares;
};

} // namespace kwlookup
