// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <sys/stat.h>

using testing::HasSubstr;
using testing::Not;

namespace {

using namespace kwlookup;

class ToolConfig : public testing::Test {
protected:
    std::string Write(const std::string& name, const std::string& text) {
        const std::string path = m_dir.Write(name, text);
        ::chmod(path.c_str(), 0644);
        return path;
    }

    TempDir m_dir;
    const std::string m_conf = m_dir.Path("kw.conf");
};

using ToolWatch = ToolConfig;

const char EVIL[] = "regex:^(a+)+$";
const std::string EVIL_TEXT = std::string(40, 'a') + "!";

} // namespace

TEST_F(ToolConfig, ConfiguresPluginsAndItemsOverrideIt) {
    Write("kw.conf", "[lookup_regex]\nCaseSensitive = yes\nSkipDomains = value:ours.lan\n");
    const auto ask = [&](const std::string& list, const std::string& text) {
        return RunTool({"--config", m_conf, "find", list, text}).status;
    };
    EXPECT_EQ(ask("regex:^BOUNCE-", "BOUNCE-1@corp.lan"), Found);
    EXPECT_EQ(ask("regex:^BOUNCE-", "bounce-1@corp.lan"), NotFound);
    EXPECT_EQ(ask("regex:CaseSensitive=no|^BOUNCE-", "bounce-1@corp.lan"), Found);
    EXPECT_EQ(ask("regex:^BOUNCE-", "BOUNCE-1@ours.lan"), NotFound);
    EXPECT_EQ(ask("regex:SkipDomains=|^BOUNCE-", "BOUNCE-1@ours.lan"), Found);
    EXPECT_EQ(RunTool({"find", "regex:^BOUNCE-", "bounce-1@ours.lan"}).status, Found)
        << "without a file every parameter has its default";
}

TEST_F(ToolConfig, OnErrorDecidesWhetherALimitIsAFault) {
    Write("kw.conf", "[lookup_regex]\nOnError = exception\nMatchLimit = 100\n");
    const ProgramResult fault = RunTool({"--config", m_conf, "find", EVIL, EVIL_TEXT});
    EXPECT_EQ(fault.status, Unavailable);
    EXPECT_THAT(fault.err, HasSubstr("could not answer for [" + EVIL_TEXT + "]: "));
    EXPECT_THAT(fault.err, HasSubstr("MatchLimit"));

    const ProgramResult miss =
        RunTool({"--config", m_conf, "find", std::string(EVIL).replace(6, 0, "OnError=ignore|"),
                 EVIL_TEXT});
    EXPECT_EQ(miss.status, NotFound);
    EXPECT_THAT(miss.err, HasSubstr("MatchLimit"));
}

TEST_F(ToolConfig, AnInvalidFileStopsEveryCommand) {
    const std::string named = "--config=" + m_conf;
    for (const std::string text : {"[lookup_regex]\nnonsense\n", "Lost = 1\n"}) {
        Write("kw.conf", text);
        for (const char* command : {"find", "watch", "check"}) {
            SCOPED_TRACE(text + command);
            std::vector<std::string> arguments = {named, command, "abc"};
            if (std::string(command) == "find")
                arguments.push_back("abc");
            const ProgramResult result = RunTool(arguments, "abc\n");
            EXPECT_EQ(result.status, BadList);
            EXPECT_EQ(result.out, "");
            EXPECT_THAT(result.err, HasSubstr("kw.conf:"));
        }
    }
    Write("kw.conf", "");
    ::chmod(m_conf.c_str(), 0666);
    const ProgramResult refused = RunTool({named, "find", "abc", "abc"});
    EXPECT_EQ(refused.status, BadList);
    EXPECT_THAT(refused.err, HasSubstr("refused, others may write it"));
}

// With a missing list of domains to skip, items would answer for those domains.
TEST_F(ToolConfig, AListInTheSettingsThatFailsCountsForItsItem) {
    const std::string list = "regex:SkipDomains=file:/no/such/list|^a";
    const std::string reason = "Can not load file '/no/such/list'";
    const auto run = [&](std::vector<std::string> arguments) {
        const ProgramResult result = RunTool(std::move(arguments), "b\n");
        EXPECT_THAT(result.err, HasSubstr(reason));
        return std::to_string(result.status) + " " + result.out;
    };
    const std::string bad_list = std::to_string(BadList);
    EXPECT_EQ(run({"check", list}), bad_list + " 1 object, 1 record, 1 error\n");
    EXPECT_EQ(run({"find", "--strict", list, "abc"}), bad_list + " ");
    EXPECT_EQ(run({"find", list, "b"}), std::to_string(Unavailable) + " ");
    EXPECT_EQ(run({"find", list, "abc"}), "0 abc\t^a\n");
    EXPECT_EQ(run({"compare", list, "abc"}), bad_list + " ");
    Write("kw.conf", "[lookup_regex]\nSkipDomains = file:/no/such/list\n");
    EXPECT_EQ(run({"--config", m_conf, "find", "regex:^a", "b"}),
              std::to_string(Unavailable) + " ");
    EXPECT_EQ(run({"--config", m_conf, "find", "--strict", "regex:^a", "b"}), bad_list + " ");
}

TEST_F(ToolConfig, EachCommandReadsTheFile) {
    const std::vector<std::string> commands[] = {
        {"types"}, {"build", "cdb", "in", "out"}, {"find", "a", "a"}, {"check"}};
    for (const std::vector<std::string>& command : commands) {
        SCOPED_TRACE(command.front());
        std::vector<std::string> arguments = {"--config", m_dir.Path("none")};
        arguments.insert(arguments.end(), command.begin(), command.end());
        EXPECT_EQ(RunTool(arguments).status, BadList);
        arguments[1] = "";
        const ProgramResult unnamed = RunTool(arguments);
        EXPECT_EQ(unnamed.status, Usage);
        EXPECT_THAT(unnamed.err, HasSubstr("--config: the file name is empty"));
    }
}

TEST_F(ToolConfig, CheckReadsEverySectionAndReportsPlaces) {
    Write("kw.conf", "[lookup_regex]\n"
                     "OnError = exception\n"
                     "[lookup_rfile]\n"
                     "MaxLength = 1x\n"
                     "Result = no such key here\n"
                     "[lookup_away]\n"
                     "[lookup_file]\n"
                     "[regex]\n");
    const ProgramResult result = RunTool({"--config", m_conf, "--type", "away", "check"});
    EXPECT_EQ(result.status, BadList);
    EXPECT_EQ(result.out, m_conf + ": 5 sections, 4 errors\n");
    for (const char* part : {":4: bad value for 'MaxLength' in [lookup_rfile]",
                             ":5: unknown key 'Result' in [lookup_rfile]", ":6: [lookup_away]: ",
                             ":7: [lookup_file]: no plug-in type has this section",
                             ":8: [regex]: no plug-in type has this section"})
        EXPECT_THAT(result.err, HasSubstr(m_conf + part));

    const std::string bad_list = "SkipDomains = a.lan, file:/no/such/file\n";
    Write("kw.conf", "[lookup_regex]\n" + bad_list);
    const ProgramResult bad_domains = RunTool({"--config", m_conf, "check"});
    EXPECT_EQ(bad_domains.status, BadList);
    EXPECT_EQ(bad_domains.out, m_conf + ": 1 section, 1 error\n");
    for (const char* part :
         {"Can not load file '/no/such/file'", ":1: [lookup_regex]: a list in it has errors"})
        EXPECT_THAT(bad_domains.err, HasSubstr(part));
    Write("kw.conf", "[lookup_regex]\n" + bad_list + "Bad = 1\n[lookup_rfile]\n");
    EXPECT_EQ(RunTool({"--config", m_conf, "check"}).out, m_conf + ": 2 sections, 1 error\n")
        << "the section after it is good";

    Write("kw.conf", "[lookup_regex]\nOnError = exception\n");
    EXPECT_EQ(RunTool({"--config", m_conf, "check"}),
              (ProgramResult{Found, m_conf + ": 1 section, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"--config", m_conf, "check", "a, regex:b"}),
              (ProgramResult{
                  Found, m_conf + ": 1 section, 0 errors\n2 objects, 2 records, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"check"}).status, Usage);
}

TEST_F(ToolConfig, DebugMessagesShowValuesButNoSecret) {
    const std::string secret = m_dir.Write("secret", "hunter2\n");
    ::chmod(secret.c_str(), 0600);
    Write("kw.conf", "[lookup_regex]\nResult.file = " + secret + "\nMaxLength = 300\n");
    const ProgramResult result = RunTool({"-v", "--config", m_conf, "find", "regex:^x", "xyz"});
    EXPECT_EQ(result.out, "xyz\thunter2\n");
    EXPECT_THAT(result.err, HasSubstr("val=[300]"));
    EXPECT_THAT(result.err, Not(HasSubstr("hunter2")));
}

// Secrets are the value of a KEY.file and a password in an item. All messages are enabled, and
// everything fails.
TEST_F(ToolConfig, NoMessageShowsASecret) {
    const std::string secret = m_dir.Write("secret", "");
    ::chmod(secret.c_str(), 0600);
    struct Case {
        std::string section;
        std::string value; ///< of a KEY.file
        std::string list;
    };
    const Case cases[] = {
        {"[lookup_cdb]\nDatabase.file = ", "/S3CRET\n", "cdb:$s"},
        {"[lookup_cdb]\nDatabase.file = ", "\"/S3CRET\"\n", "cdb:OnError=exception|$s"},
        {"[lookup_cdb]\nSkipDomains.file = ", "file:/S3CRET", "cdb:$s"},
        {"[lookup_regex]\nSkipDomains.file = ", "\"S3CRET", "regex:x"},
        {"[lookup_regex]\nResult.file = ", "S3CRET$x", "regex:x"},
        {"[lookup_regex]\nOnError.file = ", "S3CRET", "regex:x"},
        {"[lookup_regex]\nMaxLength.file = ", "S3CRET", "regex:x"},
        {"[lookup_regex]\nNoSuch.file = ", "S3CRET", "regex:x"},
        {"", "", "regex:Password=S3CRET|^x"},
        {"", "", "regex: bindpassword = \"S3CRET\" | ^x"},
        {"", "", "regex:\"Secret=a|S3CRET\"|^x"},
        {"", "", "nosuch:Password=S3CRET|^x"},
        {"", "", "ldap:Password=S3CRET"},
        {"", "", "\"regex:Password=S3CRET|^x"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.section + test.value + " " + test.list);
        m_dir.Write("secret", test.value);
        Write("kw.conf", test.section.empty() ? "" : test.section + secret + "\n");
        for (std::vector<std::string> command : {std::vector<std::string>{"check", test.list},
                                                 {"find", test.list, "xyz"},
                                                 {"find", "--explain", test.list, "xyz"},
                                                 {"compare", test.list, "a"}}) {
            command.insert(command.begin(), {"-v", "--config", m_conf});
            const ProgramResult result = RunTool(command, "xyz\n");
            EXPECT_THAT(result.out + result.err, Not(HasSubstr("S3CRET")));
            EXPECT_NE(result.err, "");
        }
    }
}

TEST_F(ToolConfig, WarnsOfASecretThatOthersMayRead) {
    const std::string secret = Write("secret", "found\n");
    Write("kw.conf", "[lookup_regex]\nResult.file = " + secret + "\n");
    const std::string warning = "kwlookup: warning: " + m_conf + ":2: 'Result': " + secret +
                                ": others may read it (chmod go-r)\n";
    EXPECT_EQ(RunTool({"--config", m_conf, "find", "regex:x", "x"}),
              (ProgramResult{Found, "x\tfound\n", warning}));
    ::chmod(secret.c_str(), 0600);
    EXPECT_EQ(RunTool({"--config", m_conf, "find", "regex:x", "x"}),
              (ProgramResult{Found, "x\tfound\n", ""}));
}

TEST_F(ToolWatch, ReloadsListAndConfigurationOnHangup) {
    const std::string list = Write("list", "a@b.lan one\n");
    Write("kw.conf", "[lookup_regex]\nResult = first\n");
    RunningProgram tool(ToolArguments({"--config", m_conf, "watch", "regex:^x, file:" + list}),
                        TOOL_ENVIRONMENT);
    const auto ask = [&](const std::string& text) {
        tool.Write(text + "\n");
        return tool.ReadLine();
    };
    EXPECT_EQ(ask("a@b.lan"), "a@b.lan\tone");
    EXPECT_EQ(ask("xyz"), "xyz\tfirst");

    Write("list", "a@b.lan two\n");
    Write("kw.conf", "[lookup_regex]\nResult = second\n");
    EXPECT_EQ(ask("a@b.lan"), "a@b.lan\tone") << "nothing changes before the signal";
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask("a@b.lan"), "a@b.lan\ttwo");
    EXPECT_EQ(ask("xyz"), "xyz\tsecond");

    const ProgramResult result = tool.Finish();
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.err, "kwlookup: reloaded\n");
}

TEST_F(ToolWatch, AFailedReloadLeavesTheOldAnswers) {
    const std::string list = Write("list", "a@b.lan one\n");
    Write("kw.conf", "[lookup_regex]\nResult = first\n");
    RunningProgram tool(ToolArguments({"--config", m_conf, "watch", "regex:^x, file:" + list}),
                        TOOL_ENVIRONMENT);
    const auto ask = [&](const std::string& text) {
        tool.Write(text + "\n");
        return tool.ReadLine();
    };
    EXPECT_EQ(ask("xyz"), "xyz\tfirst");
    const std::string bad_files[] = {"[lookup_regex]\nResult = second\nbroken\n",
                                     "[lookup_regex]\nResult = second\nMaxLength = many\n",
                                     "[lookup_regex]\nResult = second\nOnError = maybe\n"};
    for (const std::string& bad_file : bad_files) {
        SCOPED_TRACE(bad_file);
        Write("kw.conf", bad_file);
        ::kill(tool.GetPid(), SIGHUP);
        EXPECT_EQ(ask("xyz"), "xyz\tfirst");
        EXPECT_EQ(ask("a@b.lan"), "a@b.lan\tone");
    }
    Write("kw.conf", "[lookup_regex]\nResult = third\n");
    ::unlink(list.c_str());
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask("xyz"), "xyz\tfirst");
    EXPECT_EQ(ask("a@b.lan"), "a@b.lan\tone");

    Write("list", "a@b.lan four\n");
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask("xyz"), "xyz\tthird");
    EXPECT_EQ(ask("a@b.lan"), "a@b.lan\tfour");

    const ProgramResult result = tool.Finish();
    std::size_t failures = 0;
    const std::string failed = "kwlookup: error: reload failed, the old list stays in use: ";
    for (std::size_t at = 0; (at = result.err.find(failed, at)) != std::string::npos; ++at)
        ++failures;
    EXPECT_EQ(failures, 4u) << result.err;
}

// The objects of this plug-in read the configuration of their type at each search.
TEST_F(ToolWatch, AFailedReloadLeavesTheOldConfigurationOfTypes) {
    const std::string list = Write("list", "");
    Write("kw.conf", "[lookup_odbc]\nHost = old\n");
    RunningProgram tool(ToolArguments({"--config", m_conf, "watch", "odbc:$s, file:" + list}),
                        TOOL_ENVIRONMENT);
    const auto ask = [&] {
        tool.Write("x\n");
        return tool.ReadLine();
    };
    EXPECT_EQ(ask(), "x\told:389 x");
    ::unlink(list.c_str());
    for (const char* change : {"Host = new\n", "Host = new\nPort = many\n", "OnError = never\n"}) {
        SCOPED_TRACE(change);
        Write("kw.conf", std::string("[lookup_odbc]\n") + change);
        ::kill(tool.GetPid(), SIGHUP);
        EXPECT_EQ(ask(), "x\told:389 x");
    }
    Write("list", "");
    Write("kw.conf", "[lookup_odbc]\nHost = new\n");
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask(), "x\tnew:389 x");
    EXPECT_EQ(tool.Finish().status, Found);
}

TEST_F(ToolWatch, ACorrectedErrorIsGoneAfterTheNextReload) {
    const std::string skipped = Write("skipped", "a.lan\n");
    Write("kw.conf", "[lookup_regex]\nSkipDomains = file:" + skipped + "\n");
    RunningProgram tool(ToolArguments({"--config", m_conf, "watch", "regex:^b"}), TOOL_ENVIRONMENT);
    const auto ask = [&] {
        tool.Write("b@a.lan\nb@b.lan\n");
        return tool.ReadLine();
    };
    EXPECT_EQ(ask(), "b@b.lan\t^b");
    ::unlink(skipped.c_str());
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask(), "b@b.lan\t^b");
    Write("skipped", "b.lan\n");
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask(), "b@a.lan\t^b");
    const ProgramResult result = tool.Finish();
    EXPECT_THAT(result.err, HasSubstr("kwlookup: reloaded\n"));
}

TEST_F(ToolWatch, AListWithABadItemStillAnswersAndCanBeCorrected) {
    const std::string list = m_dir.Path("list");
    RunningProgram tool(ToolArguments({"watch", "abc, file:" + list}), TOOL_ENVIRONMENT);
    tool.Write("abc\n");
    EXPECT_EQ(tool.ReadLine(), "abc\tabc");
    Write("list", "def\n");
    ::kill(tool.GetPid(), SIGHUP);
    tool.Write("def\n");
    EXPECT_EQ(tool.ReadLine(), "def\tdef");
    EXPECT_EQ(tool.Finish().status, Found);
}
