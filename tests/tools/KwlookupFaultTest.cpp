// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

enum { FOUND = 0, NOT_FOUND = 1, UNAVAILABLE = 75, BAD_LIST = 78 };

const std::string ODD = "something was thrown that is no std::exception\n";

/// Runs the tool with `script` in the environment of its plug-in, to be killed when it hangs.
ProgramResult RunScripted(const std::string& script, std::vector<std::string> arguments) {
    std::vector<std::string> environment = TOOL_ENVIRONMENT;
    if (!script.empty())
        environment.push_back("SCRIPT=" + script);
    std::vector<std::string> all = {"/usr/bin/timeout", "-s", "KILL", "60"};
    for (std::string& argument : ToolArguments(std::move(arguments)))
        all.push_back(std::move(argument));
    return RunProgram(all, "a\n", environment);
}

TEST(ToolFault, WhateverAPluginThrowsWhileItIsLoadedIsToldWithItsItem) {
    const struct {
        const char* script;
        const char* item;
    } cases[] = {
        {"", "ldap:odd from the start"},
        {"throw when made", "ldap:x"},
        {"throw when given a logger", "ldap:x"},
        {"throw while configured", "ldap:x"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.script);
        const std::string item = c.item;
        const std::string list = "a, " + item + ", b";
        const struct {
            std::vector<std::string> arguments;
            int status;
            std::string out;
        } commands[] = {
            {{"find", list, "b"}, FOUND, "b\tb\n"},
            {{"find", list, "x"}, UNAVAILABLE, ""},
            {{"find", "--strict", list, "b"}, BAD_LIST, ""},
            {{"check", list}, BAD_LIST, "2 objects, 2 records, 1 error\n"},
            {{"watch", list}, FOUND, "a\ta\n"},
        };
        for (const auto& command : commands) {
            const ProgramResult result = RunScripted(c.script, command.arguments);
            EXPECT_EQ(result.status, command.status) << command.arguments.front();
            EXPECT_EQ(result.out, command.out);
            EXPECT_EQ(result.err, "kwlookup: error: Error in init lookup [" + item + "]: " + ODD);
        }
    }
}

TEST(ToolFault, WhateverAPluginThrowsWhileItIsConfiguredIsToldWithItsSection) {
    const TempDir dir;
    const std::string conf = dir.Write("kw.conf", "[lookup_ldap]\n");
    ::chmod(conf.c_str(), 0644);
    for (const char* script :
         {"throw when made", "throw when given a logger", "throw while configured"}) {
        const ProgramResult result = RunScripted(script, {"--config", conf, "check"});
        EXPECT_EQ(result.status, BAD_LIST);
        EXPECT_EQ(result.err, "kwlookup: error: " + conf + ":1: [lookup_ldap]: " + ODD);
    }
    const ProgramResult logged = RunScripted("log when configured", {"--config", conf, "check"});
    EXPECT_EQ(logged.status, FOUND) << "it has no logger but that of InitLog";
    EXPECT_EQ(logged.err, "kwlookup: warning: is configured\n");
}

// A process's memory can be opened, and not be read at its start.
const char UNREADABLE[] = "/proc/self/mem";

TEST(ToolFault, AListWithAReadErrorHasErrors) {
    const std::string list = "a, file:" + std::string(UNREADABLE);
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string out;
    } cases[] = {
        {{"find", list, "a"}, FOUND, "a\ta\n"},
        {{"find", list, "b"}, UNAVAILABLE, ""},
        {{"find", "--strict", list, "a"}, BAD_LIST, ""},
        {{"check", list}, BAD_LIST, "2 objects, 1 record, 1 error\n"},
        {{"compare", list, "a"}, BAD_LIST, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments.front());
        const ProgramResult result = RunTool(c.arguments, "a\n");
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.out, c.out);
        EXPECT_THAT(result.err,
                    StartsWith("kwlookup: warning: KwFileLookup: read error in " +
                               std::string(UNREADABLE) + " after 0 records: Input/output error\n"));
    }
}

TEST(ToolFault, AReloadThatMeetsAFaultKeepsTheOldList) {
    const TempDir dir;
    const std::string list = dir.Write("list", "a@b.lan one\n");
    RunningProgram tool(ToolArguments({"watch", "file:" + list}), TOOL_ENVIRONMENT);
    const auto ask = [&] {
        tool.Write("a@b.lan\n");
        return tool.ReadLine();
    };
    EXPECT_EQ(ask(), "a@b.lan\tone");
    std::filesystem::remove(list);
    std::filesystem::create_symlink(UNREADABLE, list);
    ::kill(tool.Pid(), SIGHUP);
    EXPECT_EQ(ask(), "a@b.lan\tone");
    std::filesystem::remove(list);
    ASSERT_EQ(::mkfifo(list.c_str(), 0600), 0);
    ::kill(tool.Pid(), SIGHUP);
    EXPECT_EQ(ask(), "a@b.lan\tone");
    const ProgramResult result = tool.Finish();
    EXPECT_THAT(result.err, HasSubstr("reload failed, the old list goes on"));
    EXPECT_THAT(result.err, HasSubstr("Can not load file '" + list + "': not a regular file"));
}

TEST(ToolFault, WhatIsNoRegularFileIsRefusedAtOnce) {
    const TempDir dir;
    const std::string fifo = dir.Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& name : {fifo, std::string("/dev/zero"), std::string("/dev/tty0")}) {
        if (name == "/dev/tty0" && ::access(name.c_str(), R_OK) != 0)
            continue;
        const std::string refused = "Can not load file '" + name + "': not a regular file\n";
        const struct {
            std::vector<std::string> arguments;
            int status;
            std::string error;
        } cases[] = {
            {{"check", "file:" + name},
             BAD_LIST,
             "Error in init lookup [file:" + name + "]: " + refused},
            {{"find", "file:" + name, "a"},
             UNAVAILABLE,
             "Error in init lookup [file:" + name + "]: " + refused},
            {{"check", "rfile:" + name},
             BAD_LIST,
             "Error in init lookup [rfile:" + name + "]: " + refused},
            {{"--config", name, "check"}, BAD_LIST, name + ": not a regular file\n"},
            {{"build", "cdb", name, dir.Path("out")}, UNAVAILABLE, name + ": not a regular file\n"},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::PrintToString(c.arguments));
            const ProgramResult result = RunScripted("", c.arguments);
            EXPECT_EQ(result.status, c.status);
            EXPECT_EQ(result.err, "kwlookup: error: " + c.error);
        }
    }
}

TEST(ToolFault, APipeThatTheToolWasGivenIsRead) {
    const TempDir dir;
    const char* commands[] = {
        "echo corp.lan | \"$@\" find file:/dev/stdin x@corp.lan",
        "echo corp.lan | \"$@\" find file:/proc/self/fd/0 x@corp.lan",
        "echo ^x@corp | \"$@\" find rfile:/dev/fd/0 x@corp.lan",
        "echo '[lookup_regex]' | \"$@\" --config /dev/stdin find corp.lan x@corp.lan",
        "mkfifo fifo; (echo corp.lan >fifo &); \"$@\" find file:/dev/fd/7 x@corp.lan 7<fifo",
        "echo corp.lan >file; \"$@\" find file:/dev/stdin x@corp.lan <file",
        "echo corp.lan | \"$@\" build cdb /dev/stdin t.cdb >&2 && "
        "\"$@\" find 'cdb:Database=t.cdb|$d' x@corp.lan",
    };
    for (const char* command : commands) {
        SCOPED_TRACE(command);
        const ProgramResult result = RunToolInShell("cd '" + dir.Path("") + "' && " + command, {});
        EXPECT_EQ(result.status, FOUND) << result.err;
        EXPECT_THAT(result.out, StartsWith("x@corp.lan\t"));
    }
}

} // namespace
