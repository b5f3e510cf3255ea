// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisReader.h"

#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kwlookup {
namespace {

using namespace std::string_literals;

std::string Shown(const RedisReply& reply) {
    switch (reply.type) {
    case RedisReply::Type::Nil:
        return "nil";
    case RedisReply::Type::String:
        return "'" + reply.text + "'";
    case RedisReply::Type::Status:
        return "+" + reply.text;
    case RedisReply::Type::Error:
        return "-" + reply.text;
    case RedisReply::Type::Integer:
        return std::to_string(reply.integer);
    case RedisReply::Type::Array:
        break;
    }
    std::string shown = "[";
    for (const RedisReply& element : reply.elements)
        shown += (shown.size() > 1 ? " " : "") + Shown(element);
    return shown + "]";
}

/// All replies, read in pieces of `size` bytes.
std::string Read(const std::string& bytes, std::size_t size) {
    RedisReader reader;
    std::string shown;
    RedisReply reply;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        reader.Feed(std::string_view(bytes).substr(at, size));
        while (reader.Next(reply))
            shown += (shown.empty() ? "" : " ") + Shown(reply);
    }
    return shown + (reader.IsEmpty() ? "" : " ...");
}

TEST(RedisReader, ReadsReplies) {
    const struct {
        std::string bytes;
        std::string shown;
    } cases[] = {
        {"$2\r\nOK\r\n", "'OK'"},
        {"$0\r\n\r\n", "''"},
        {"$5\r\na\r\nb\0\r\n"s, "'a\r\nb\0'"s},
        {"$-1\r\n", "nil"},
        {"*-1\r\n", "nil"},
        {"*0\r\n", "[]"},
        {":-7\r\n", "-7"},
        {"+PONG\r\n", "+PONG"},
        {"-ERR x y\r\n", "-ERR x y"},
        {"*3\r\n$1\r\na\r\n$-1\r\n*2\r\n:1\r\n*1\r\n+x\r\n", "['a' nil [1 [+x]]]"},
        {":1\r\n:2\r\n", "1 2"},
        {":1\r\n:", "1 ..."},
    };
    for (const auto& c : cases)
        for (std::size_t size = 1; size <= c.bytes.size(); ++size)
            EXPECT_EQ(Read(c.bytes, size), c.shown) << c.bytes << " in pieces of " << size;
}

TEST(RedisReader, RefusesGarbage) {
    std::string deep;
    for (int i = 0; i < 20; ++i)
        deep += "*1\r\n";
    for (const std::string& bytes :
         {"x"s, "\0"s, "HTTP/1.1 400 Bad Request\r\n"s, "$x\r\n"s, "$-2\r\n"s, ":1x\r\n"s,
          "*9999999999999999999\r\n"s, "*-5\r\n"s, deep})
        EXPECT_THROW(Read(bytes, bytes.size()), ServerFault) << bytes;
}

TEST(RedisReader, HasLimits) {
    // Much is announced and little is sent.
    EXPECT_EQ(Read("*2147483647\r\n", 1), " ...");
    std::string many = "*200000\r\n";
    for (int i = 0; i < 200000; ++i)
        many += ":1\r\n";
    EXPECT_THROW(Read(many, many.size()), ServerFault);
    EXPECT_EQ(Read("$1000000000\r\nabc", 100), " ...");
    RedisReader reader;
    RedisReply reply;
    const std::string megabyte(1 << 20, 'x');
    reader.Feed("$100000000\r\n");
    const auto feed = [&] {
        for (int i = 0; i < 17; ++i) {
            reader.Feed(megabyte);
            reader.Next(reply);
        }
    };
    EXPECT_THROW(feed(), std::runtime_error);
}

} // namespace
} // namespace kwlookup
