// SPDX-License-Identifier: MIT
#include "plugins/redis/Redirection.h"

#include <gtest/gtest.h>

#include <string>

namespace kwlookup {
namespace {

using namespace std::string_literals;

TEST(Redirection, IsRead) {
    Server from;
    from.host = "here";
    from.port = 1;
    const struct {
        std::string text;
        Redirection::Kind kind;
        std::string server;
    } cases[] = {
        {"MOVED 3999 127.0.0.1:6381", Redirection::Kind::Moved, "127.0.0.1:6381"},
        {"ASK 3999 node.lan:6381", Redirection::Kind::Ask, "node.lan:6381"},
        {"MOVED 3999 ::1:6381", Redirection::Kind::Moved, "[::1]:6381"},
        {"MOVED 3999 :6381", Redirection::Kind::Moved, "here:6381"},
    };
    for (const auto& c : cases) {
        const auto read = Redirection::Read(c.text, from);
        ASSERT_TRUE(read) << c.text;
        EXPECT_EQ(read->kind, c.kind) << c.text;
        EXPECT_EQ(read->server.GetName(), c.server);
        EXPECT_EQ(read->text, "here:1: " + c.text);
    }
    const auto down = Redirection::Read("CLUSTERDOWN The cluster is down", from);
    ASSERT_TRUE(down);
    EXPECT_EQ(down->kind, Redirection::Kind::Down);
    for (const std::string& text :
         {""s, "MOVED"s, "MOVED 1"s, "MOVED 1 a"s, "MOVED 1 a:"s, "MOVED 1 a:x"s, "MOVED 1 a:1x"s,
          "MOVED 1 a:65536"s, "MOVED a:1"s, "MOVED:1 a"s, "MOVED 1 a\0b:1"s, "MOVEDX 1 a:1"s,
          "ERR x"s, "WRONGTYPE 1 a:1"s})
        EXPECT_FALSE(Redirection::Read(text, from)) << text;
    from.host.clear();
    EXPECT_FALSE(Redirection::Read("MOVED 3999 :6381", from));
}

} // namespace
} // namespace kwlookup
