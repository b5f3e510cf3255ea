// SPDX-License-Identifier: MIT
#include "kwlookupd/EveryCut.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using kwlookup::Outcome;
using kwlookup::Query;
using kwlookup::Reply;

/// Lists 1 (kw) and 2 (a b).
Reply AnswerDict(const Query::Ask& ask) {
    static const std::map<std::string, std::string> RESULTS = {
        {"1 found-1", "value-of-found-1"},
        {"1 a\tb\nc\rd\001e/f", "escaped"},
        {std::string("1 nul\0", 6), "nul"},
        {"1 marked", std::string("tab\tline\ncr\rnul\0one\001end", 23)},
        {"1 gr\xc3\xbcn", "gr\xc3\xbc\xe9"},
        {"1 <>", "null sender"},
        {"1 empty", ""},
        {"1 big", std::string(100000, 'x')},
        {"2 found-1", "of the other list"},
    };
    Reply reply;
    const auto found = RESULTS.find(std::to_string(ask.list) + " " + ask.text);
    if (found != RESULTS.end()) {
        reply.outcome = Outcome::Found;
        reply.text = found->second;
    } else if (ask.text == "temp") {
        reply.outcome = Outcome::Unavailable;
        reply.text = "timed out";
    }
    return reply;
}

std::string AskDict(const std::string& input) {
    kwlookup::DoorConfig config;
    config.name = "dovecot";
    config.protocol = "dict";
    config.lists = {{"kw", 1}, {"a\tb", 2}};
    return AnswerAtEveryCut(*kwlookup::MakeDoor(config), AnswerDict, input);
}

TEST(DictSessionTest, AnswersLookups) {
    const std::string hello = "H3\t2\t0\t\tkw\n";
    struct {
        std::string input;
        std::string answer;
    } const cases[] = {
        {hello, ""},
        {hello + "Lshared/found-1\tbob\n", "Ovalue-of-found-1\n"},
        {hello + "Lpriv/found-1\tbob\n", "Ovalue-of-found-1\n"},
        {hello + "Lfound-1\n", "Ovalue-of-found-1\n"},
        {hello + "Lshared/none\tbob\n", "N\n"},
        {hello + "Lshared/shared/found-1\tbob\n", "N\n"},
        {hello + "Lshared/temp\tbob\n", "Ftimed out\n"},
        {hello + "Lshared/\tbob\n", "Onull sender\n"},
        {hello + "L\n", "Onull sender\n"},
        {hello + "Lshared/<>\tbob\n", "Onull sender\n"},
        {hello + "Lshared/empty\tbob\n", "O\n"},
        {hello + "Lshared/gr\xc3\xbcn\tbob\n", "Ogr\xc3\xbc\xe9\n"},
        {hello + "Lshared/a\001tb\001nc\001rd\0011e/f\tbob\n", "Oescaped\n"},
        {hello + "Lshared/nul\0010\tbob\n", "Onul\n"},
        {hello + "Lshared/found\001-1\tbob\n", "Ovalue-of-found-1\n"}, // no escape: the byte itself
        {hello + "Lshared/found-1\001\tbob\n", "N\n"},
        {hello + "Lshared/marked\tbob\n", "Otab\001tline\001ncr\001rnul\0010one\0011end\n"},
        {hello + "Lshared/big\tbob\n", "O" + std::string(100000, 'x') + "\n"},
        // Other versions of the protocol.
        {"H2\t0\t0\tbob\tkw\nLshared/found-1\n", "Ovalue-of-found-1\n"},
        {"H9\t7\t0\t\tkw\tnew\nLshared/found-1\tbob\tnew\n", "Ovalue-of-found-1\n"},
        // The dictionary is a list of the door.
        {"H3\t2\t0\t\ta\001tb\nLshared/found-1\tbob\n", "Oof the other list\n"},
        {"H3\t2\t0\t\tother\nLshared/found-1\tbob\n", "Fthere is no such dictionary\n"},
        {"H3\nLshared/found-1\tbob\n", "Fthere is no such dictionary\n"},
        {"Lshared/found-1\tbob\n", "Fthere is no such dictionary\n"},
        {hello + "H3\t2\t0\t\tother\nLshared/found-1\tbob\n", "Fthere is no such dictionary\n"},
        // Lists are read-only.
        {hello + "I0\t0\tshared/\tbob\n", "Fthis dictionary cannot be iterated\n"},
        {hello + "B1\tbob\nT1\t1\t2\nV1\nS1\tshared/k\tv\nU1\tshared/k\nA1\tshared/k\t3\nC1\n"
                 "Lshared/found-1\tbob\n",
         "F1\tthis dictionary is read-only\nOvalue-of-found-1\n"},
        {hello + "B12\tbob\nR12\nB13\tbob\nD13\n", "F13\tthis dictionary is read-only\n"},
        // One after another.
        {hello + "Lshared/found-1\tbob\nLshared/none\tbob\nLshared/temp\tbob\nLshared/found-1",
         "Ovalue-of-found-1\nN\nFtimed out\n"},
        // What is no line of the protocol.
        {"?what\n", "Funknown command\n closed"},
        {"\n", "Funknown command\n closed"},
        {"GET / HTTP/1.1\r\n", "Funknown command\n closed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_EQ(AskDict(c.input), c.answer);
    }
}

TEST(DictSessionTest, LimitsLinesToTheirExactByte) {
    const std::string key(65536 - 3, 'x'); // without the L, the TAB and the line end
    EXPECT_EQ(AskDict("H3\t2\t0\t\tkw\nL" + key + "\t\n"), "N\n");
    EXPECT_EQ(AskDict("H3\t2\t0\t\tkw\nL" + key + "x\t\n"), "Fthe line is too long\n closed");
    EXPECT_EQ(AskDict(std::string(200000, 'L')), "Fthe line is too long\n closed");
}

} // namespace
