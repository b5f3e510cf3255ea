// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/lists/ListGeneration.h"

#include <chrono>
#include <cstddef>
#include <vector>

namespace kwlookup {

/// Answers `query`. `get_list(i)` returns the list of the i-th ask; it may be null. `replies` gets
/// one reply, or one for each ask if the query says `all`. Its memory is reused. Returns false,
/// without the rest of the answers, as soon as `deadline` has passed.
template <typename GetList>
bool AskLists(const Query& query, const GetList& get_list, std::vector<Reply>& replies,
              ListGeneration::Time deadline = ListGeneration::Time::max()) {
    replies.resize(query.all ? query.asks.size() : 1);
    if (!query.all)
        replies[0].outcome = Outcome::NotFound;
    for (std::size_t i = 0; i < query.asks.size(); ++i) {
        if (deadline != ListGeneration::Time::max() && std::chrono::steady_clock::now() >= deadline)
            return false;
        Reply& reply = replies[query.all ? i : 0];
        reply.ask = i;
        if (const ListGeneration* list = get_list(i))
            list->Ask(query.asks[i].text, query.explain, reply, deadline);
        else {
            reply.outcome = Outcome::Unavailable;
            reply.text = "the list has not been loaded";
        }
        if (!query.all && reply.outcome != Outcome::NotFound)
            return true;
    }
    return true;
}

/// Returns the number of the first ask of `query`, from `begin` on, whose answer takes time: its
/// list may wait, its file is to be read, or plug-ins are asked about many texts. Without one it
/// returns the number of all asks.
template <typename GetList>
std::size_t FindSlowAsk(const Query& query, const GetList& get_list, std::size_t begin = 0) {
    for (std::size_t i = begin; i < query.asks.size(); ++i) {
        const ListGeneration* list = get_list(i);
        if (list && (query.explain || list->MayWait() || (query.all && list->HasPlugins())))
            return i;
    }
    return query.asks.size();
}

/// Logs that `query` got no answer, in the name of the list that it waited for: `asked` is the ask
/// that was reached. Returns the number of the ask of that list.
template <typename GetList>
std::size_t ReportRefusal(const Query& query, const GetList& get_list,
                          ListGeneration::Refusal reason, std::size_t asked) {
    std::size_t slow = FindSlowAsk(query, get_list, asked);
    if (slow == query.asks.size())
        slow = FindSlowAsk(query, get_list);
    if (slow == query.asks.size())
        return asked;
    get_list(slow)->ReportRefusal(reason, query.asks[slow].text);
    return slow;
}

} // namespace kwlookup
