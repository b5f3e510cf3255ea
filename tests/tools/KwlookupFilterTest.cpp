// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

using testing::HasSubstr;

namespace {

/// A running filter, as smtpd starts it.
class Filter {
public:
    explicit Filter(std::vector<std::string> arguments)
        : m_program(
              [&] {
                  arguments.insert(arguments.begin(), {"filter", "opensmtpd"});
                  return ToolArguments(arguments);
              }(),
              TOOL_ENVIRONMENT) {}

    /// The answer to a request with this token.
    std::string Ask(const std::string& phase, const std::string& token, const std::string& data) {
        Send(phase, token, data);
        return Receive();
    }

    void Send(const std::string& phase, const std::string& token, const std::string& data) {
        m_program.Write("filter|0.6|1.1|smtp-in|" + phase + "|S|" + token + "|" + data + "\n");
    }

    /// The next answer without the fields that are always there.
    std::string Receive() {
        const std::string line = m_program.ReadLine();
        EXPECT_THAT(line, testing::StartsWith("filter-result|S|"));
        return line.substr(std::min<std::size_t>(line.size(), 16));
    }

    RunningProgram& GetProgram() { return m_program; }

private:
    RunningProgram m_program;
};

const std::string FILTER_FAULT = "|reject|451 4.3.0 Cannot look this up now, try again later";

TEST(ToolFilter, AnswersUntilItsInputEnds) {
    const TempDir dir;
    Filter filter({"file:" + dir.Write("a", "Bad.Test REJECT 5.1.8 no\nuser@x.test\n"),
                   "<> DEFER no bounces", "--sub-address", "+"});
    filter.GetProgram().Write("config|smtpd-version|6.8.0p2\nconfig|ready\n");
    EXPECT_EQ(filter.GetProgram().ReadLine(), "register|filter|smtp-in|mail-from");
    EXPECT_EQ(filter.GetProgram().ReadLine(), "register|ready");
    EXPECT_EQ(filter.Ask("mail-from", "1", "Bob@bad.TEST"), "1|reject|550 5.1.8 no");
    EXPECT_EQ(filter.Ask("mail-from", "2", "user+tag@x.test"), "2|reject|550 5.7.1 Access denied");
    EXPECT_EQ(filter.Ask("mail-from", "3", ""), "3|reject|451 4.7.1 no bounces");
    EXPECT_EQ(filter.Ask("mail-from", "4", "gr\xc3\xbcn@x.test"), "4|proceed");
    EXPECT_EQ(filter.Ask("rcpt-to", "5", "Bob@bad.TEST"), "5|proceed");
    const ProgramResult end = filter.GetProgram().Finish();
    EXPECT_EQ(end.status, Found);
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "");
}

TEST(ToolFilter, AsksForOtherAttributes) {
    Filter filter({"bad.test, 192.0.2.7", "--ask", "recipient", "--ask", "client_address", "--ask",
                   "helo_name"});
    EXPECT_EQ(filter.Ask("rcpt-to", "1", "a@bad.test"), "1|reject|550 5.7.1 Access denied");
    EXPECT_EQ(filter.Ask("mail-from", "2", "a@bad.test"), "2|proceed");
    EXPECT_EQ(filter.Ask("connect", "3", "x.test|192.0.2.7"), "3|reject|550 5.7.1 Access denied");
    EXPECT_EQ(filter.Ask("ehlo", "4", "bad.test"), "4|reject|550 5.7.1 Access denied");
    EXPECT_EQ(filter.GetProgram().Finish().status, Found);
}

TEST(ToolFilter, RefusesForNowWhatItCannotAsk) {
    // The first list is not loaded, and the second cannot answer.
    for (const std::string list : {"file:/nonexistent/file", "ldap:broken", "unknown:x", "\"a"}) {
        Filter filter({list, "x.test"});
        EXPECT_EQ(filter.Ask("mail-from", "1", "a@x.test"), "1" + FILTER_FAULT) << list;
        EXPECT_EQ(filter.Ask("mail-from", "2", "a@x.test"), "2" + FILTER_FAULT) << list;
        const ProgramResult end = filter.GetProgram().Finish();
        EXPECT_EQ(end.status, Found);
        EXPECT_THAT(end.err, testing::StartsWith("kwlookup: error: ")) << list;
    }
}

TEST(ToolFilter, AnswersInTimeAndEndsWhileAListWaits) {
    Filter filter({"ldap:wait", "--answer-time", "100"});
    std::set<std::string> expected, answers;
    for (int i = 0; i < 20; ++i) { // more than it asks at once
        const std::string token = std::to_string(i);
        filter.Send("mail-from", token, "a@x.test");
        expected.insert(token + FILTER_FAULT);
    }
    for (int i = 0; i < 20; ++i)
        answers.insert(filter.Receive());
    EXPECT_EQ(answers, expected);
    EXPECT_EQ(filter.Ask("rcpt-to", "x", "a@x.test"), "x|proceed");
    filter.Send("mail-from", "last", "a@x.test");
    const ProgramResult end = filter.GetProgram().Finish();
    EXPECT_EQ(end.status, Found);
    EXPECT_EQ(end.out, "filter-result|S|last" + FILTER_FAULT + "\n");
    EXPECT_THAT(end.err, HasSubstr("no answer in time for [a@x.test]\n"));
}

TEST(ToolFilter, ReadsChangedFilesAgain) {
    const TempDir dir;
    const auto write = [&](const std::string& name, const std::string& text) {
        dir.Write("new", text);
        std::filesystem::rename(dir.Path("new"), dir.Path(name));
    };
    write("first", "first.test\n");
    write("list", "old.test\n");
    Filter filter({"file:" + dir.Path("first"), "file:" + dir.Path("list")});
    int token = 0;
    const auto is_refused = [&](const std::string& domain) {
        const std::string answer = filter.Ask("mail-from", std::to_string(++token), "x@" + domain);
        EXPECT_THAT(answer, testing::AnyOf(HasSubstr("|proceed"), HasSubstr("|reject|550 ")));
        return answer.find("|reject|") != std::string::npos;
    };
    const auto becomes_refused = [&](const std::string& domain) {
        for (int i = 0; i < 300; ++i) { // 30 seconds
            if (is_refused(domain))
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    };
    EXPECT_TRUE(is_refused("old.test"));
    // A list that cannot be loaded leaves the old one, and its fault is told once.
    std::filesystem::remove(dir.Path("list"));
    write("first", "second.test\n");
    EXPECT_TRUE(becomes_refused("second.test"));
    EXPECT_FALSE(is_refused("first.test"));
    EXPECT_TRUE(is_refused("old.test"));
    write("list", "new.test\n");
    EXPECT_TRUE(becomes_refused("new.test"));
    EXPECT_FALSE(is_refused("old.test"));
    const std::string err = filter.GetProgram().Finish().err;
    const std::string fault = "; the old list stays in use\n";
    EXPECT_THAT(err, HasSubstr(fault));
    EXPECT_EQ(err.find(fault), err.rfind(fault));
}

TEST(ToolFilter, RefusesWrongUsage) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"filter"},
                                               {"filter", "sendmail", "a"},
                                               {"filter", "opensmtpd"},
                                               {"filter", "opensmtpd", "a", "--ask", "size"},
                                               {"filter", "opensmtpd", "a", "--answer-time", "0"}})
        EXPECT_EQ(RunTool(arguments).status, Usage) << arguments.back();
}

} // namespace
