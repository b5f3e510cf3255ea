// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisCommand.h"

#include "families/servers/ServerFault.h"
#include "plugins/redis/tests/RedisRequests.h"
#include "servers/HostileAddress.h"
#include "support/Expander.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

const Expander& TheExpander() {
    static const Expander expander;
    return expander;
}

std::vector<std::string> Sent(const std::string& command, const std::string& text) {
    std::string question;
    EXPECT_TRUE(RedisCommand(command).Expand(TheExpander(), TextFinder(text), 0, question));
    return ParseRequest(question);
}

TEST(RedisCommand, IsSplitBeforeTextsArePutIn) {
    EXPECT_THAT(Sent("GET $s", "a b"), ElementsAre("GET", "a b"));
    EXPECT_THAT(Sent("  hget\tblocked   $d ", "a@b c"), ElementsAre("HGET", "blocked", "b c"));
    EXPECT_THAT(Sent("GET 'a b$s'", "x"), ElementsAre("GET", "a bx"));
    EXPECT_THAT(Sent("GET \"it's\"", "x"), ElementsAre("GET", "it's"));
    EXPECT_THAT(Sent("GET ''", "x"), ElementsAre("GET", ""));
    EXPECT_THAT(Sent("GET $s", ""), ElementsAre("GET", ""));
    EXPECT_THAT(Sent("GET $s", "'a' \"b\""), ElementsAre("GET", "'a' \"b\""));
    EXPECT_THAT(Sent("HMGET $s $u $d $$", "a@b"), ElementsAre("HMGET", "a@b", "a", "b", "$"));
    EXPECT_THAT(Sent("GET $s", "\0\r\n\xff"s), ElementsAre("GET", "\0\r\n\xff"s));
}

TEST(RedisCommand, RefusesOthers) {
    for (const char* text :
         {"", " ", "SET a b", "DEL a", "EVAL x 0", "GETDEL a", "CONFIG GET a", "'GET a'", "GET 'a",
          "GET 'a'b", "GET a'b'", "GET \"a", "G\xc4\xb0T a"})
        EXPECT_THROW(RedisCommand{text}, std::invalid_argument) << text;
    for (const char* text : {"GET", "GET a b", "HGET a", "HGET a b c", "SISMEMBER a", "ZSCORE a",
                             "EXISTS", "EXISTS a b", "HMGET a"})
        EXPECT_THROW(RedisCommand{text}, std::invalid_argument) << text;
    EXPECT_THROW(RedisCommand("GET a\0"s), std::invalid_argument);
}

TEST(RedisCommand, KnowsItsKeyAndWhatMatched) {
    const struct {
        const char* command;
        const char* key;
        const char* matched;
    } cases[] = {
        {"GET $s", "a@b", "a@b"},
        {"HGET blocked $d", "blocked", "b"},
        {"HGET $d x", "b", "b"},
        {"HMGET k $u x y", "k", "a"},
        {"GET constant", "constant", "constant"},
        {"SISMEMBER {$d}x $u", "{b}x", "a"},
    };
    for (const auto& c : cases) {
        const RedisCommand command(c.command);
        std::string question;
        ASSERT_TRUE(command.Expand(TheExpander(), TextFinder("a@b"), 0, question));
        EXPECT_EQ(RedisCommand::KeyOf(question), c.key) << c.command;
        EXPECT_EQ(command.Matched(question), c.matched) << c.command;
    }
}

TEST(RedisCommand, NoTextChangesTheRequest) {
    const RedisCommand command("HMGET l:$s 'c d' $u $d");
    std::string question;
    for (unsigned i = 0; i < HostileAddresses(100000); ++i) {
        const std::string text = HostileAddress(i);
        question.clear();
        const std::size_t at = text.find('@');
        if (!command.Expand(TheExpander(), TextFinder(text), 0, question)) {
            ASSERT_TRUE(at == 0 || at >= text.size() - 1) << text;
            continue;
        }
        const std::vector<std::string> wanted = {"HMGET", "l:" + text, "c d", text.substr(0, at),
                                                 text.substr(at + 1)};
        ASSERT_EQ(ParseRequest(question), wanted);
    }
}

TEST(RedisCommand, TakesNoAnswerToAnotherCommand) {
    using Type = RedisReply::Type;
    RedisReply nil, string, integer, status, array;
    string.type = Type::String;
    string.text = "v";
    integer.type = Type::Integer;
    integer.integer = 1;
    status.type = Type::Status;
    status.text = "OK";
    array.type = Type::Array;
    array.elements = {string, nil};
    const struct {
        const char* command;
        std::vector<const RedisReply*> good;
    } cases[] = {
        {"GET a", {&nil, &string}}, {"HGET a b", {&nil, &string}}, {"ZSCORE a b", {&nil, &string}},
        {"EXISTS a", {&integer}},   {"SISMEMBER a b", {&integer}}, {"HMGET a b c", {&array}},
        {"HMGET a b", {}},          {"HMGET a b c d", {}},
    };
    for (const auto& c : cases)
        for (const RedisReply* reply : {&nil, &string, &integer, &status, &array}) {
            Answer answer(1);
            const bool good = std::find(c.good.begin(), c.good.end(), reply) != c.good.end();
            if (good)
                EXPECT_NO_THROW(RedisCommand(c.command).Read(*reply, answer)) << c.command;
            else
                EXPECT_THROW(RedisCommand(c.command).Read(*reply, answer), ServerFault)
                    << c.command;
        }
    array.elements = {string, integer};
    Answer answer(1);
    EXPECT_THROW(RedisCommand("HMGET a b c").Read(array, answer), ServerFault);
}

} // namespace
} // namespace kwlookup
