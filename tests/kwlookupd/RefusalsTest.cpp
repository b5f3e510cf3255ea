// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/Refusals.h"

#include "kwlookupd/ConstantView.h"
#include "kwlookupd/Conversation.h"
#include "support/RecordingLog.h"
#include "tools/kwlookupd/doors/Door.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using kwlookup::DoorConfig;
using kwlookup::Refusals;
using testing::ElementsAre;

} // namespace

TEST(Refusals, CountsAllAndLogsOneAMinuteForEachReason) {
    RecordingLog::Reset(WARN);
    Refusals refusals;
    const auto start = kwlookup::LogLimit::Clock::now();
    for (int second = 0; second < 100; ++second)
        refusals.Count(
            Refusals::Malformed, "mx", [&] { return "request " + std::to_string(second); },
            start + std::chrono::seconds(second));
    refusals.Count(
        Refusals::WrongToken, "mx", [] { return "token"; }, start);
    EXPECT_THAT(RecordingLog::Texts(WARN),
                ElementsAre("door mx: request 0",
                            "door mx: request 60 (and 59 more since the last such line)",
                            "door mx: token"));
    EXPECT_EQ(refusals.GetCount(Refusals::Malformed), 100U);
    EXPECT_EQ(refusals.GetCount(Refusals::WrongToken), 1U);
    EXPECT_EQ(refusals.GetCount(Refusals::UnknownList), 0U);
}

// What each door refuses, as its administrator sees it.
TEST(Refusals, AreToldByEachDoor) {
    const std::string get = "GET ", post = "POST ", http = " HTTP/1.1\r\nHost: localhost\r\n",
                      token = "Authorization: Bearer 0123456789abcdef\r\n", end = "\r\n";
    const std::string hello("\0\0\0\x0dO\0\0\0\x06\0\0\0\0\0\0\0\0", 17);
    const std::string name(300, 'n');
    const struct {
        const char* protocol;
        std::string request;
        const char* reason; ///< null: none
        std::string log;
    } cases[] = {
        {"dict", "Hx\t0\t\t\tlist\nLa@b.test\n", nullptr, ""},
        {"dict", "Hx\t0\t\t\tnone\nLa@b.test\n", "unknown_list", "there is no list [none]"},
        {"dict", "x\n", "malformed", "a request has an unknown command"},
        {"dict", std::string(70000, 'L'), "malformed", "the line of a request is too long"},
        {"http", get + "/list?text=a" + http + token + end, nullptr, ""},
        {"http", get + "/favicon.ico" + http + token + end, nullptr, ""},
        {"http", get + "/healthz" + http + end, nullptr, ""},
        {"http", get + "/list?text=a" + http + end, "wrong_token", "the token is missing or wrong"},
        {"http", get + "/none?text=a" + http + token + end, "unknown_list",
         "there is no list [none]"},
        {"http", get + "/none/all" + http + token + end, "unknown_list", "there is no list [none]"},
        {"http", post + "/none" + http + token + "Content-Length: 1\r\n\r\na", "unknown_list",
         "there is no list [none]"},
        {"http", get + "/list" + http + token + end, "malformed",
         "say which text: ?text=TEXT, or /all for the whole list"},
        {"http", "GET /\n", "malformed", "a line ends without a carriage return"},
        {"milter", hello, nullptr, ""},
        {"milter", hello + std::string("\0\0\0\1Q", 5), nullptr, ""},
        {"milter", hello + std::string("\0\0\0\0Q", 5), "malformed",
         "a packet breaks the protocol"},
        {"milter", std::string("\0\0\0\2M<", 6), "malformed", "a packet breaks the protocol"},
        {"policy", "sender=a@b.test\n\n", nullptr, ""},
        {"policy", "sender\n", "malformed", "the request is malformed"},
        {"policy", "sender=big\n\n", "unsendable",
         "the result of [big] is no action: it has a line end or a NUL, or more than 8192 bytes"},
        {"socketmap", "6:list a,", nullptr, ""},
        {"socketmap", "6:none a,", "unknown_list", "there is no list [none]"},
        {"socketmap", "302:" + name + " a,", "unknown_list",
         "there is no list [" + name.substr(0, 200) + "... (300 bytes)]"},
        {"socketmap", "4:list,", "malformed", "a request is malformed"},
        {"socketmap", "4;", "malformed", "a request is malformed"},
        {"socketmap", "8:list big,", "unsendable",
         "the result of [big] has 100000 bytes; the protocol allows 99997"},
        {"tcp", "get a@b.test\n", nullptr, ""},
        {"tcp", "put a@b.test\n", "malformed", "a request has an unknown command"},
        {"tcp", std::string(5000, 'g'), "malformed", "the line of a request is too long"},
        {"tcp", "get big\n", "unsendable",
         "the result of [big] has 100000 bytes; the protocol allows 4091 with %XX for special "
         "ones"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(std::string(each.protocol) + ": " + each.request.substr(0, 100));
        RecordingLog::Reset(WARN);
        DoorConfig config;
        config.name = "mx";
        config.protocol = each.protocol;
        config.lists = {{"list", 0}};
        if (config.protocol == "milter" || config.protocol == "policy")
            config.rules = {{"sender", config.lists[0]}};
        if (!config.rules.empty())
            config.lists.clear();
        if (config.protocol == "http")
            config.settings["token"] = "0123456789abcdef";
        const ConstantView view("list");
        const kwlookup::Metrics metrics({config}, {"list"}, 1);
        const auto door = kwlookup::MakeDoor(config, &view);
        for (int i = 0; i < 3; ++i) {
            Conversation client(door->NewSession(), [](const kwlookup::Query::Ask& ask) {
                kwlookup::Reply reply;
                reply.outcome = kwlookup::Outcome::Found;
                reply.has_result = true;
                reply.text = ask.text == "big" ? std::string(100000, 'b') : "OK";
                return reply;
            });
            client.Send(each.request);
        }
        std::vector<std::string> logged;
        if (each.reason)
            logged.push_back("door mx: " + each.log);
        EXPECT_EQ(RecordingLog::Texts(WARN), logged);
        const std::string text = metrics.ToPrometheus({}, 0);
        for (const char* reason : Refusals::NAMES)
            EXPECT_THAT(text,
                        testing::HasSubstr(
                            R"(kwlookupd_requests_refused_total{door="mx",reason=")" +
                            std::string(reason) + "\"} " +
                            (each.reason && each.reason == std::string(reason) ? "3\n" : "0\n")));
    }
}
