// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/lists/ListGeneration.h"

#include <cstddef>
#include <vector>

namespace kwlookup {

/// Answers `query`. `get_list(i)` returns the list of the i-th ask; it may be null. `replies` gets
/// one reply, or one for each ask if the query says `all`. Its memory is reused.
template <typename GetList>
void AskLists(const Query& query, const GetList& get_list, std::vector<Reply>& replies) {
    replies.resize(query.all ? query.asks.size() : 1);
    if (!query.all)
        replies[0].outcome = Outcome::NotFound;
    for (std::size_t i = 0; i < query.asks.size(); ++i) {
        Reply& reply = replies[query.all ? i : 0];
        reply.ask = i;
        if (const ListGeneration* list = get_list(i))
            list->Ask(query.asks[i].text, query.explain, reply);
        else {
            reply.outcome = Outcome::Unavailable;
            reply.text = "the list has not been loaded";
        }
        if (!query.all && reply.outcome != Outcome::NotFound)
            return;
    }
}

} // namespace kwlookup
