// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/Require.h"
#include "kwlookupd/Conversation.h"
#include "tools/kwlookupd/doors/Door.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

/// Sends bytes to a session of `door` in pieces, and the same bytes at once: both get the same
/// answers. The first byte chooses the size of the pieces. Keys tell the answer by their first
/// byte.
inline void FuzzSession(const kwlookup::Door& door, const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return;
    const std::size_t piece = 1 + data[0] % 32;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto answer = [](const kwlookup::Query::Ask& ask) {
        kwlookup::Reply reply;
        const char kind = ask.text.empty() ? 'n' : ask.text[0];
        if (kind != 'n')
            reply.outcome = kind == 't' ? kwlookup::Outcome::Unavailable : kwlookup::Outcome::Found;
        reply.has_result = kind != 'p';
        reply.text = kind == 'b' ? std::string(99997, 'x') : ask.text;
        return reply;
    };
    Conversation whole(door.NewSession(), answer);
    whole.Send(bytes);
    whole.End();
    Conversation pieces(door.NewSession(), answer);
    for (std::size_t i = 0; i < bytes.size(); i += piece)
        pieces.Send(std::string_view(bytes).substr(i, piece));
    pieces.End();
    Require(whole.IsClosed() && pieces.IsClosed());
    Require(whole.GetOutput() == pieces.GetOutput());
}
