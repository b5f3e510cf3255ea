// SPDX-License-Identifier: MIT
#pragma once

#include "kwlookupd/Conversation.h"
#include "tools/kwlookupd/doors/Door.h"

#include <gtest/gtest.h>

#include <string>

/// Returns what a session of `door` answers to `input`, and " closed" if it closed the connection.
/// Expects the same answer wherever the input is cut in two, and when it comes byte by byte; for a
/// long input at some places only.
inline std::string AnswerAtEveryCut(const kwlookup::Door& door, Conversation::Answerer answer,
                                    const std::string& input) {
    const auto result = [](const Conversation& talk) {
        return talk.GetOutput() + (talk.IsClosed() ? " closed" : "");
    };
    Conversation whole(door.NewSession(), answer);
    whole.Send(input);
    const std::string expected = result(whole);
    const bool is_long = input.size() > 5000;
    for (std::size_t cut = 1; cut < input.size(); cut += is_long ? input.size() / 20 : 1) {
        Conversation cut_talk(door.NewSession(), answer);
        cut_talk.Send(input.substr(0, cut));
        cut_talk.Send(input.substr(cut));
        EXPECT_EQ(result(cut_talk), expected) << "cut after " << cut << " bytes";
    }
    Conversation pieces(door.NewSession(), answer);
    const std::size_t piece = is_long ? 997 : 1;
    for (std::size_t begin = 0; begin < input.size(); begin += piece)
        pieces.Send(input.substr(begin, piece));
    EXPECT_EQ(result(pieces), expected) << "piece by piece";
    return expected;
}
