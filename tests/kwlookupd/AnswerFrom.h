// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"

#include <map>
#include <string>

/// Answers from `results`, which are by "LIST TEXT". In every list plain@x.test is found without a
/// result, and temp@x.test cannot be asked; the reason for that must reach no mail client.
inline kwlookup::Reply AnswerFrom(const std::map<std::string, std::string>& results,
                                  const kwlookup::Query::Ask& ask) {
    kwlookup::Reply reply;
    const auto found = results.find(std::to_string(ask.list) + " " + ask.text);
    if (found != results.end()) {
        reply.outcome = kwlookup::Outcome::Found;
        reply.text = found->second;
        reply.has_result = true;
    } else if (ask.text == "plain@x.test") {
        reply.outcome = kwlookup::Outcome::Found;
        reply.text = ask.text;
    } else if (ask.text == "temp@x.test") {
        reply.outcome = kwlookup::Outcome::Unavailable;
        reply.text = "secret.example: refused";
    }
    return reply;
}
