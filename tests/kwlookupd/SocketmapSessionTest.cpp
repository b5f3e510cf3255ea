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

std::string Netstring(const std::string& payload) {
    return std::to_string(payload.size()) + ":" + payload + ",";
}

/// Lists 3 "users" and 5 "rcpt" answer by the key: "found-..." with itself, "temp" with a fault,
/// "big-N" with N bytes, "lf" with a line end.
Reply AnswerSocketmap(const Query::Ask& ask) {
    Reply reply;
    if (ask.text.rfind("found-", 0) == 0 || ask.text == "<>") {
        reply.outcome = Outcome::Found;
        reply.text = (ask.list == 3 ? "u " : "r ") + ask.text;
    } else if (ask.text == "temp") {
        reply.outcome = Outcome::Unavailable;
        reply.text = "timed out";
    } else if (ask.text.rfind("big-", 0) == 0) {
        reply.outcome = Outcome::Found;
        reply.text.assign(std::stoul(ask.text.substr(4)), 'x');
    } else if (ask.text == "lf") {
        reply.outcome = Outcome::Found;
        reply.text = "a\nb";
    } else if (ask.text == "empty")
        reply.outcome = Outcome::Found;
    return reply;
}

class SocketmapSessionTest : public testing::Test {
protected:
    SocketmapSessionTest() {
        RecordingLog::Reset();
        kwlookup::DoorConfig config;
        config.name = "postfix";
        config.protocol = "socketmap";
        config.lists = {{"users", 3}, {"rcpt", 5}};
        m_door = kwlookup::MakeDoor(config);
    }

    Conversation Talk() const { return {m_door->NewSession(), AnswerSocketmap}; }

    /// The answer to `input`, and " closed" if the connection was closed.
    std::string Ask(const std::string& input, bool end = false) const {
        Conversation talk = Talk();
        talk.Send(input);
        if (end)
            talk.End();
        return talk.GetOutput() + (talk.IsClosed() ? " closed" : "");
    }

    std::unique_ptr<kwlookup::Door> m_door;
};

struct SocketmapCase {
    std::string input;
    std::string answer;
};

const std::string MALFORMED = Netstring("PERM malformed request") + " closed";

TEST_F(SocketmapSessionTest, AnswersRequests) {
    const SocketmapCase cases[] = {
        {"", ""},
        {Netstring("users found-1"), Netstring("OK u found-1")},
        {Netstring("rcpt found-1"), Netstring("OK r found-1")},
        {Netstring("users none"), "9:NOTFOUND ,"},
        {Netstring("users empty"), "3:OK ,"},
        {Netstring("users temp"), "14:TEMP timed out,"},
        {Netstring("users lf"), "6:OK a\nb,"},
        {"8:users <>,", "7:OK u <>,"},
        {"6:users ,", "7:OK u <>,"},
        {Netstring("users found-a b"), Netstring("OK u found-a b")},
        {Netstring("users found-\xff,:"), Netstring("OK u found-\xff,:")},
        {Netstring(std::string("users found-\0x", 14)),
         Netstring(std::string("OK u found-\0x", 13))},
        {Netstring("Users found-1"), Netstring("PERM unknown list")},
        {Netstring(" found-1"), Netstring("PERM unknown list")},
        {Netstring("users"), Netstring("PERM the request has no list and key")},
        {"0:,", Netstring("PERM the request has no list and key")},
        // Several at once, and what is wrong with one leaves the order alone.
        {Netstring("users found-1") + Netstring("none x") + Netstring("users none") +
             Netstring("rcpt found-2") + Netstring("rcpt temp"),
         Netstring("OK u found-1") + Netstring("PERM unknown list") + Netstring("NOTFOUND ") +
             Netstring("OK r found-2") + Netstring("TEMP timed out")},
        {Netstring("users found-1") + "x" + Netstring("users found-2"),
         Netstring("OK u found-1") + MALFORMED},
    };
    for (const SocketmapCase& c : cases)
        EXPECT_EQ(Ask(c.input), c.answer) << testing::PrintToString(c.input);
}

TEST_F(SocketmapSessionTest, RefusesHostileLengths) {
    for (const char* length : {"131073",
                               "999999",
                               "1000000",
                               "2147483647",
                               "2147483648",
                               "4294967295",
                               "4294967296",
                               "18446744073709551615",
                               "18446744073709551616",
                               "00",
                               "01",
                               "000000",
                               "05",
                               "+5",
                               "-5",
                               " 5",
                               "5 ",
                               "0x5",
                               "\xb5",
                               "5\xff",
                               ",",
                               ""})
        EXPECT_EQ(Ask(std::string(length) + ":users found-1,"), MALFORMED) << length;
    EXPECT_EQ(Ask(std::string(1000000, '1')), MALFORMED);
    EXPECT_EQ(Ask("5:usersx"), MALFORMED);
    EXPECT_EQ(Ask("131072:users "), "");
    EXPECT_EQ(Ask("12"), "");
    EXPECT_EQ(Ask("0"), "");
}

TEST_F(SocketmapSessionTest, AnswersNothingAfterGarbage) {
    Conversation talk = Talk();
    talk.Send("5;users");
    EXPECT_TRUE(talk.IsClosed());
    EXPECT_EQ(talk.GetOutput() + " closed", MALFORMED);
}

TEST_F(SocketmapSessionTest, LimitsAnswersToTheirExactByte) {
    EXPECT_EQ(Ask(Netstring("users big-99997")), Netstring("OK " + std::string(99997, 'x')));
    EXPECT_THAT(RecordingLog::Texts(WARN), testing::IsEmpty());
    EXPECT_EQ(Ask(Netstring("users big-99998")), Netstring("TEMP the result is too long"));
    EXPECT_THAT(RecordingLog::Texts(WARN),
                testing::ElementsAre("door postfix: the result of [big-99998] has 99998 bytes; the "
                                     "protocol allows 99997"));
}

TEST_F(SocketmapSessionTest, TakesKeysUpToTheLimit) {
    const std::string key = "found-" + std::string(131072 - 12, 'k');
    EXPECT_EQ(Ask(Netstring("users " + key)), Netstring("TEMP the result is too long"));
    EXPECT_EQ(Ask(Netstring("users x" + key)), MALFORMED);
    const std::string postfix = "found-" + std::string(99000, 'k');
    EXPECT_EQ(Ask(Netstring("users " + postfix)), Netstring("OK u " + postfix));
}

TEST_F(SocketmapSessionTest, AnswersOfAnySizeAreWhole) {
    for (std::size_t size = 0; size < 600; ++size) {
        const std::string key = "found-" + std::string(size, 'k');
        EXPECT_EQ(Ask(Netstring("users " + key)), Netstring("OK u " + key));
        EXPECT_EQ(Ask("users " + key + "\n"), "OK u " + key + "\n");
    }
}

TEST_F(SocketmapSessionTest, UnderstandsLines) {
    const SocketmapCase cases[] = {
        {"users found-1\n", "OK u found-1\n"},
        {"users found-1\r\nrcpt none\nusers temp\n", "OK u found-1\nNOTFOUND \nTEMP timed out\n"},
        {"users \n", "OK u <>\n"},
        {"_other x\n", "PERM unknown list\n"},
        {"1other x\n", "22:PERM malformed request, closed"},
        {"users empty\n", "OK \n"},
        {"users found-\xfc x\n", "OK u found-\xfc x\n"},
        {"users lf\n", "TEMP the result has a line end\n"},
        {"users big-99998\n", "TEMP the result is too long\n"},
        {"other x\n\nusers\n", "PERM unknown list\nPERM the request has no list and key\n"
                               "PERM the request has no list and key\n"},
        {"users " + std::string(8185, 'k') + "\n", "NOTFOUND \n"},
        {"users " + std::string(8186, 'k') + "\n", "PERM malformed request\n closed"},
        {"users " + std::string(1000000, 'k'), "PERM malformed request\n closed"},
    };
    for (const SocketmapCase& c : cases)
        EXPECT_EQ(Ask(c.input), c.answer) << c.input.substr(0, 100);
}

TEST_F(SocketmapSessionTest, AnswersAfterAHalfClose) {
    const SocketmapCase cases[] = {
        {"", " closed"},
        {Netstring("users found-1"), Netstring("OK u found-1") + " closed"},
        {Netstring("users found-1") + "13:users f", Netstring("OK u found-1") + " closed"},
        {"users found-1", "OK u found-1\n closed"},
        {"users found-1\nrcpt none", "OK u found-1\nNOTFOUND \n closed"},
        {"users found-1\n", "OK u found-1\n closed"},
    };
    for (const SocketmapCase& c : cases)
        EXPECT_EQ(Ask(c.input, true), c.answer) << c.input;
}

TEST_F(SocketmapSessionTest, TakesInputInAnyPieces) {
    for (const std::string& input :
         {Netstring("users found-1") + Netstring("x y") + Netstring("rcpt none") + "07:x",
          std::string("users found-1\nx y\nrcpt none\n")}) {
        const std::string whole = Ask(input);
        for (std::size_t size = 1; size < input.size(); ++size) {
            Conversation talk = Talk();
            for (std::size_t i = 0; i < input.size(); i += size)
                talk.Send(input.substr(i, size));
            EXPECT_EQ(talk.GetOutput() + (talk.IsClosed() ? " closed" : ""), whole) << size;
        }
    }
}

} // namespace
