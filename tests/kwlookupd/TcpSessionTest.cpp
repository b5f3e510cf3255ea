// SPDX-License-Identifier: MIT
#include "kwlookupd/Conversation.h"
#include "support/RecordingLog.h"
#include "tools/kwlookupd/doors/Door.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using kwlookup::Outcome;
using kwlookup::Query;
using kwlookup::Reply;

/// Lists 1 and 2 answer by the key: "found-..." with itself, "second" is in the second list only,
/// "temp" cannot be asked, "big-N" has N bytes, "high-N" N bytes that are sent as three.
Reply AnswerTcp(const Query::Ask& ask) {
    Reply reply;
    if (ask.text.rfind("found-", 0) == 0 || ask.text == "<>" ||
        (ask.text == "second" && ask.list == 2)) {
        reply.outcome = Outcome::Found;
        reply.text = ask.text;
    } else if (ask.text.rfind("temp", 0) == 0) {
        reply.outcome = Outcome::Unavailable;
        reply.text = ask.text == "temp" ? "timed out" : std::string(5000, 't');
    } else if (ask.text.rfind("big-", 0) == 0 || ask.text.rfind("high-", 0) == 0) {
        reply.outcome = Outcome::Found;
        reply.text.assign(std::stoul(ask.text.substr(ask.text.find('-') + 1)),
                          ask.text[0] == 'b' ? 'x' : '\xff');
    } else if (ask.text == "empty")
        reply.outcome = Outcome::Found;
    return reply;
}

class TcpSessionTest : public testing::Test {
protected:
    TcpSessionTest() {
        RecordingLog::Reset();
        kwlookup::DoorConfig config;
        config.name = "tables";
        config.protocol = "tcp";
        config.lists = {{"first", 1}, {"second", 2}};
        m_door = kwlookup::MakeDoor(config);
    }

    /// The answer to `input`, and " closed" if the connection was closed.
    std::string Ask(const std::string& input, std::size_t piece = std::string::npos,
                    bool end = false) const {
        Conversation talk(m_door->NewSession(), AnswerTcp);
        for (std::size_t i = 0; i < input.size(); i += std::min(piece, input.size()))
            talk.Send(std::string_view(input).substr(i, piece));
        if (end)
            talk.End();
        return talk.GetOutput() + (talk.IsClosed() ? " closed" : "");
    }

    std::unique_ptr<kwlookup::Door> m_door;
};

struct TcpCase {
    std::string input;
    std::string answer;
};

TEST_F(TcpSessionTest, AnswersRequests) {
    const TcpCase cases[] = {
        {"get found-1@example.test\n", "200 found-1@example.test\n"},
        {"get none\n", "500 not%20found\n"},
        {"get second\n", "200 second\n"},
        {"get temp\n", "400 timed%20out\n"},
        {"get temp-long\n", "400 \n"},
        {"get empty\n", "200 \n"},
        {"get <>\n", "200 <>\n"},
        {"get \n", "200 <>\n"},
        {"get found-\"quo%20ted\"@x.test\n", "200 found-\"quo%20ted\"@x.test\n"},
        {"get found-a b@x.test\n", "200 found-a%20b@x.test\n"},
        {"get found-gr%C3%BCn%c3%bc\n", "200 found-gr%C3%BCn%C3%BC\n"},
        {"get found-%25%0a%00\n", "200 found-%25%0A%00\n"},
        {"get found-%%2%g5%5g%\n", "200 found-%25%252%25g5%255g%25\n"},
        {"get found-\xff\x7f~\n", "200 found-%FF%7F~\n"},
        {"get found-1\r\n", "200 found-1\n"},
        {"get  found-1\n", "500 not%20found\n"},
        {"put a b\n", "400 unknown%20command\n"},
        {"GET found-1\n", "400 unknown%20command\n"},
        {"get\n", "400 unknown%20command\n"},
        {"\n", "400 unknown%20command\n"},
        {"get found-1\nx\nget none\nget temp\nget found-2\n",
         "200 found-1\n400 unknown%20command\n500 not%20found\n400 timed%20out\n200 found-2\n"},
        {"get found-1", ""},
    };
    for (const TcpCase& c : cases) {
        EXPECT_EQ(Ask(c.input), c.answer) << c.input;
        EXPECT_EQ(Ask(c.input, 1), c.answer) << c.input;
    }
}

TEST_F(TcpSessionTest, LimitsLinesToTheirExactByte) {
    EXPECT_EQ(Ask("get " + std::string(4091, 'k') + "\n"), "500 not%20found\n");
    const std::string too_long = "400 the%20line%20is%20too%20long\n closed";
    EXPECT_EQ(Ask("get " + std::string(4092, 'k') + "\n"), too_long);
    EXPECT_EQ(Ask("get found-1\n" + std::string(1000000, 'k')), "200 found-1\n" + too_long);

    EXPECT_EQ(Ask("get big-4091\n"), "200 " + std::string(4091, 'x') + "\n");
    EXPECT_EQ(Ask("get high-1363\n").size(), 4 + 4089 + 1u);
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::ElementsAre("door tables: the line of a request is too long"));
    EXPECT_EQ(Ask("get big-4092\n"), "400 the%20result%20is%20too%20long\n");
    EXPECT_EQ(Ask("get high-1364\n"), "400 the%20result%20is%20too%20long\n");
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::ElementsAre("door tables: the line of a request is too long",
                                     "door tables: the result of [big-4092] has 4092 bytes; the "
                                     "protocol allows 4091 with %XX for special ones"));
}

TEST_F(TcpSessionTest, AnswersAfterAHalfClose) {
    const std::size_t whole = std::string::npos;
    EXPECT_EQ(Ask("", whole, true), " closed");
    EXPECT_EQ(Ask("get found-1", whole, true), "200 found-1\n closed");
    EXPECT_EQ(Ask("get found-1\nget none", 3, true), "200 found-1\n500 not%20found\n closed");
    EXPECT_EQ(Ask("get found-1\n", whole, true), "200 found-1\n closed");
}

} // namespace
