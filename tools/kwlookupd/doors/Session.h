// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Output.h"
#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

/// One client's conversation in the protocol of a door: bytes in, questions, bytes out. A session
/// has no socket and never waits. Threads: one at a time.
class Session {
public:
    enum class Step {
        NeedMore, ///< the input has no whole request
        Ask,      ///< the query is to be answered, with Answer()
        Go,       ///< something was taken or written; call Read() again
        Close     ///< send the output, then close the connection
    };

    virtual ~Session() = default;

    /// Take bytes from the front of `input`. Each byte is offered until it is taken. A session
    /// bounds what it leaves: it ends a request that is too long with Close, or skips it. `query`
    /// may hold the last request; a session overwrites it, and reuses the memory of its strings.
    virtual Step Read(std::string_view& input, Query& query, Output& output) = 0;

    /// As Read(), after the client has ended its side of the connection.
    virtual Step ReadEnd(std::string_view& input, Query& query, Output& output) {
        (void)input, (void)query, (void)output;
        return Step::Close;
    }

    /// Write the answer to `query`: one reply, or one for each ask if the query says `all`. Answers
    /// are given in the order of the requests. False if the connection is to be closed after it.
    virtual bool Answer(const Query& query, const std::vector<Reply>& replies, Output& output) = 0;

    /// True if Read() may be called while queries are not answered yet.
    virtual bool MayPipeline() const { return false; }

    /// True if the session has taken a part of a request, and not its end.
    virtual bool IsInsideRequest() const { return false; }
};

} // namespace kwlookup
