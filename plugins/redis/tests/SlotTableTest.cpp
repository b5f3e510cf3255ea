// SPDX-License-Identifier: MIT
#include "plugins/redis/SlotTable.h"

#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace kwlookup {
namespace {

using namespace std::string_literals;

RedisReply Integer(long long value) {
    RedisReply reply;
    reply.type = RedisReply::Type::Integer;
    reply.integer = value;
    return reply;
}

RedisReply Text(const std::string& text) {
    RedisReply reply;
    reply.type = RedisReply::Type::String;
    reply.text = text;
    return reply;
}

RedisReply Array(std::vector<RedisReply> elements) {
    RedisReply reply;
    reply.type = RedisReply::Type::Array;
    reply.elements = std::move(elements);
    return reply;
}

RedisReply Node(const std::string& host, long long port) {
    return Array({Text(host), Integer(port), Text("id")});
}

Server Here() {
    Server server;
    server.host = "here";
    server.port = 1;
    return server;
}

std::string Names(const std::vector<Server>& servers) {
    std::string names;
    for (const Server& server : servers)
        names += (names.empty() ? "" : " ") + server.GetName();
    return names;
}

TEST(SlotTable, KnowsTheSlotOfAKey) {
    // From CLUSTER KEYSLOT.
    EXPECT_EQ(SlotTable::SlotOf("123456789"), 12739u);
    EXPECT_EQ(SlotTable::SlotOf("foo"), 12182u);
    EXPECT_EQ(SlotTable::SlotOf(""), 0u);
    EXPECT_EQ(SlotTable::SlotOf("{foo}bar"), SlotTable::SlotOf("foo"));
    EXPECT_EQ(SlotTable::SlotOf("a{foo}{bar}"), SlotTable::SlotOf("foo"));
    EXPECT_EQ(SlotTable::SlotOf("a{{foo}}"), SlotTable::SlotOf("{foo"));
    EXPECT_NE(SlotTable::SlotOf("{}foo"), SlotTable::SlotOf(""));
    EXPECT_NE(SlotTable::SlotOf("{foo"), SlotTable::SlotOf("foo"));
    EXPECT_NE(SlotTable::SlotOf("}foo{bar}"), SlotTable::SlotOf("foo"));
    EXPECT_EQ(SlotTable::SlotOf("}foo{bar}"), SlotTable::SlotOf("bar"));
}

TEST(SlotTable, KnowsWhoHasASlot) {
    const SlotTable table(Array({Array({Integer(0), Integer(100), Node("a", 1), Node("b", 2)}),
                                 Array({Integer(101), Integer(16383), Node("", 3)})}),
                          Here());
    EXPECT_EQ(Names(table.NodesOf(0)), "a:1 b:2");
    EXPECT_EQ(Names(table.NodesOf(100)), "a:1 b:2");
    EXPECT_EQ(Names(table.NodesOf(101)), "here:3");
    EXPECT_EQ(Names(table.GetAllNodes()), "a:1 b:2 here:3");
    const SlotTable empty(Array({}), Here());
    EXPECT_EQ(Names(empty.NodesOf(16383)), "");
}

TEST(SlotTable, RefusesGarbage) {
    for (const RedisReply& reply :
         {Integer(1), Array({Integer(1)}), Array({Array({Integer(0), Integer(1)})}),
          Array({Array({Integer(0), Integer(16384), Node("a", 1)})}),
          Array({Array({Integer(-1), Integer(1), Node("a", 1)})}),
          Array({Array({Integer(2), Integer(1), Node("a", 1)})}),
          Array({Array({Integer(0), Integer(1), Node("a", 0)})}),
          Array({Array({Integer(0), Integer(1), Node("a", 65536)})}),
          Array({Array({Integer(0), Integer(1), Node("a\0b"s, 1)})}),
          Array({Array({Integer(0), Integer(1), Array({Text("a")})})})})
        EXPECT_THROW(SlotTable(reply, Here()), ServerFault);
}

} // namespace
} // namespace kwlookup
