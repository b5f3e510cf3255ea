// SPDX-License-Identifier: MIT
// Parses bytes as replies, and passes these to all their readers. Parsed in pieces, the replies
// must be the same. The first byte of the input is the size of the pieces.
#include "families/servers/ServerFault.h"
#include "fuzz/Require.h"
#include "plugins/redis/Redirection.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/RedisReader.h"
#include "plugins/redis/SlotTable.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

using namespace kwlookup;

namespace {

void Show(const RedisReply& reply, std::string& shown) {
    shown += std::to_string(static_cast<int>(reply.type)) + ':' + std::to_string(reply.integer) +
             ':' + reply.text + '[';
    for (const RedisReply& element : reply.elements)
        Show(element, shown);
    shown += ']';
}

void Take(const RedisReply& reply) {
    Server from;
    from.host = "here";
    from.port = 1;
    try {
        const SlotTable table(reply, from);
        for (const unsigned slot : {0u, SlotTable::SLOTS - 1})
            Require(table.NodesOf(slot).size() <= reply.elements.size() * 100000);
    } catch (const ServerFault&) {
    }
    if (const auto redirection = Redirection::Read(reply.text, from))
        Require(redirection->kind == Redirection::Kind::Down || !redirection->server.IsUnix());
    for (const char* text : {"GET a", "EXISTS a", "HMGET a b c"}) {
        Answer answer(1);
        try {
            RedisCommand(text).Read(reply, answer);
        } catch (const ServerFault&) {
        }
    }
}

std::string Read(std::string_view bytes, std::size_t piece) {
    RedisReader reader;
    RedisReply reply;
    std::string shown;
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            reader.Feed(bytes.substr(at, piece));
            while (reader.Next(reply)) {
                Show(reply, shown);
                Take(reply);
            }
        }
    } catch (const ServerFault&) {
        shown += "fault";
    }
    return shown;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    Require(Read(bytes, 1 + data[0]) == Read(bytes, bytes.size() + 1));
    return 0;
}
