// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <link.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using namespace kwlookup;

const std::string ODD = "an exception of unknown type was thrown\n";

/// Arguments that kill the tool if it hangs.
std::vector<std::string> WithTimeLimit(std::vector<std::string> arguments) {
    std::vector<std::string> all = {"/usr/bin/timeout", "-s", "KILL", "60"};
    for (std::string& argument : ToolArguments(std::move(arguments)))
        all.push_back(std::move(argument));
    return all;
}

/// Run the tool with `script` in the environment of its plug-in.
ProgramResult RunScripted(const std::string& script, std::vector<std::string> arguments) {
    std::vector<std::string> environment = TOOL_ENVIRONMENT;
    if (!script.empty())
        environment.push_back("SCRIPT=" + script);
    return RunProgram(WithTimeLimit(std::move(arguments)), "a\n", environment);
}

TEST(ToolFault, AnyExceptionOfAPluginOnLoadingIsReportedWithItsItem) {
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
            {{"find", list, "b"}, Found, "b\tb\n"},
            {{"find", list, "x"}, Unavailable, ""},
            {{"find", "--strict", list, "b"}, BadList, ""},
            {{"check", list}, BadList, "2 objects, 2 records, 1 error\n"},
            {{"watch", list}, Found, "a\ta\n"},
        };
        for (const auto& command : commands) {
            const ProgramResult result = RunScripted(c.script, command.arguments);
            EXPECT_EQ(result.status, command.status) << command.arguments.front();
            EXPECT_EQ(result.out, command.out);
            EXPECT_EQ(result.err, "kwlookup: error: Error in init lookup [" + item + "]: " + ODD);
        }
    }
}

TEST(ToolFault, AnyExceptionOfAPluginOnConfigurationIsReportedWithItsSection) {
    const TempDir dir;
    const std::string conf = dir.Write("kw.conf", "[lookup_ldap]\n");
    ::chmod(conf.c_str(), 0644);
    for (const char* script :
         {"throw when made", "throw when given a logger", "throw while configured"}) {
        const ProgramResult result = RunScripted(script, {"--config", conf, "check"});
        EXPECT_EQ(result.status, BadList);
        EXPECT_EQ(result.err, "kwlookup: error: " + conf + ":1: [lookup_ldap]: " + ODD);
    }
    const ProgramResult logged = RunScripted("log when configured", {"--config", conf, "check"});
    EXPECT_EQ(logged.status, Found) << "it has no logger but that of InitLog";
    EXPECT_EQ(logged.err, "kwlookup: warning: is configured\n");
}

// The memory of a process can be opened, but not read at its start.
const char UNREADABLE[] = "/proc/self/mem";

TEST(ToolFault, AListWithAReadErrorHasErrors) {
    const std::string list = "a, file:" + std::string(UNREADABLE);
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string out;
    } cases[] = {
        {{"find", list, "a"}, Found, "a\ta\n"},
        {{"find", list, "b"}, Unavailable, ""},
        {{"find", "--strict", list, "a"}, BadList, ""},
        {{"check", list}, BadList, "2 objects, 1 record, 1 error\n"},
        {{"compare", list, "a"}, BadList, ""},
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

TEST(ToolFault, AFailedReloadKeepsTheOldList) {
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
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask(), "a@b.lan\tone");
    std::filesystem::remove(list);
    ASSERT_EQ(::mkfifo(list.c_str(), 0600), 0);
    ::kill(tool.GetPid(), SIGHUP);
    EXPECT_EQ(ask(), "a@b.lan\tone");
    const ProgramResult result = tool.Finish();
    EXPECT_THAT(result.err, HasSubstr("reload failed, the old list stays in use"));
    EXPECT_THAT(result.err, HasSubstr("Can not load file '" + list + "': not a regular file"));
}

TEST(ToolFault, ASpecialFileIsRefusedAtOnce) {
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
             BadList,
             "Error in init lookup [file:" + name + "]: " + refused},
            {{"find", "file:" + name, "a"},
             Unavailable,
             "Error in init lookup [file:" + name + "]: " + refused},
            {{"check", "rfile:" + name},
             BadList,
             "Error in init lookup [rfile:" + name + "]: " + refused},
            {{"--config", name, "check"}, BadList, name + ": not a regular file\n"},
            {{"build", "cdb", name, dir.Path("out")}, Unavailable, name + ": not a regular file\n"},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::PrintToString(c.arguments));
            const ProgramResult result = RunScripted("", c.arguments);
            EXPECT_EQ(result.status, c.status);
            EXPECT_EQ(result.err, "kwlookup: error: " + c.error);
        }
    }
}

TEST(ToolFault, AnInheritedPipeIsRead) {
    const TempDir dir;
    const char* commands[] = {
        "echo corp.lan | \"$@\" find file:/dev/stdin x@corp.lan",
        "echo corp.lan | \"$@\" find file:/proc/self/fd/0 x@corp.lan",
        "echo ^x@corp | \"$@\" find rfile:/dev/fd/0 x@corp.lan",
        "echo '[lookup_regex]' | \"$@\" --config /dev/stdin find corp.lan x@corp.lan",
        "mkfifo fifo; (echo corp.lan >fifo &); \"$@\" find file:/dev/fd/7 x@corp.lan 7<fifo",
        "echo corp.lan >file; \"$@\" find file:/dev/stdin x@corp.lan <file",
        R"(echo corp.lan | "$@" build cdb /dev/stdin t && "$@" find 'cdb:Database=t|$d' x@corp.lan)",
    };
    for (const char* command : commands) {
        SCOPED_TRACE(command);
        const ProgramResult result = RunToolInShell("cd '" + dir.Path("") + "' && " + command, {});
        EXPECT_EQ(result.status, Found) << result.err;
        EXPECT_THAT(result.out, HasSubstr("x@corp.lan\t"));
    }
}

std::string BytesOf(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// Run the tool with the plug-in of the type "away" in `dir`.
ProgramResult RunWithPluginIn(const TempDir& dir, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--type", "away"});
    return RunProgram(WithTimeLimit(std::move(arguments)), "",
                      {"LD_LIBRARY_PATH=" + dir.Path("") + ":" PLUGIN_DIR});
}

const std::string NOT_LOADED = "Cannot load shared library libkw_lookup_away.so because ";

/// The end of the parts of a library that the loader maps; the rest is for debuggers.
std::size_t MappedBytes(const std::string& library) {
    ElfW(Ehdr) header;
    std::memcpy(&header, library.data(), sizeof(header));
    std::size_t end = 0;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) segment;
        std::memcpy(&segment, library.data() + header.e_phoff + i * sizeof(segment),
                    sizeof(segment));
        end = std::max<std::size_t>(end, segment.p_offset + segment.p_filesz);
    }
    return end;
}

TEST(ToolFault, ATruncatedPluginIsReported) {
    const TempDir dir;
    const std::string whole = BytesOf(PLUGIN_DIR "/libkw_lookup_regex.so");
    ASSERT_GT(whole.size(), 10000u);
    const std::string name = dir.Path("libkw_lookup_away.so");
    const std::size_t mapped = MappedBytes(whole);
    std::size_t cut_short = 0;
    constexpr std::size_t PARTS = 31;
    for (std::size_t part = 0; part <= PARTS; ++part) {
        SCOPED_TRACE(part);
        // Not in place, because a process may have mapped the file.
        std::filesystem::remove(name);
        dir.Write("libkw_lookup_away.so", whole.substr(0, mapped * part / PARTS));
        const ProgramResult check = RunWithPluginIn(dir, {"check", "away:x"});
        const ProgramResult types = RunWithPluginIn(dir, {"types"});
        EXPECT_EQ(types.status, Found);
        if (part == PARTS) {
            EXPECT_EQ(check.status, Found) << check.err;
            EXPECT_THAT(types.out, HasSubstr("away\tplug-in\n"));
            continue;
        }
        EXPECT_EQ(check.status, BadList);
        EXPECT_THAT(check.err,
                    StartsWith("kwlookup: error: Error in init lookup [away:x]: " + NOT_LOADED));
        EXPECT_THAT(types.out, HasSubstr("away\tnot available: " + NOT_LOADED));
        cut_short += check.err.find(name + ": the file is cut short\n") != std::string::npos;
    }
    EXPECT_EQ(cut_short, PARTS - 1) << "the loader itself sees that a file is empty";
}

TEST(ToolFault, APluginThatIsNotALibraryIsReported) {
    const TempDir dir;
    const std::string name = dir.Path("libkw_lookup_away.so");
    const std::string whole = BytesOf(PLUGIN_DIR "/libkw_lookup_regex.so");
    const auto with_byte = [&](std::size_t at, char byte) {
        std::string bytes = whole;
        bytes[at] = byte;
        return bytes;
    };
    const struct {
        std::string bytes;
        std::string reason;
    } cases[] = {
        {"no library", "file too short"},
        {std::string(1000, 'x'), "invalid ELF header"},
        // The headers of another machine's library are not read.
        {with_byte(4, whole[4] == 1 ? 2 : 1).substr(0, 1000), "wrong ELF class"},
        {with_byte(5, whole[5] == 1 ? 2 : 1).substr(0, 1000), "ELF file data encoding"},
        {with_byte(39, '\x7f'), "cut short"}, // the program headers are far beyond the end
    };
    for (const auto& c : cases) {
        std::filesystem::remove(name);
        dir.Write("libkw_lookup_away.so", c.bytes);
        const ProgramResult result = RunWithPluginIn(dir, {"check", "away:x"});
        EXPECT_EQ(result.status, BadList);
        EXPECT_THAT(result.err, HasSubstr(NOT_LOADED));
        EXPECT_THAT(result.err, HasSubstr(c.reason));
    }
    std::filesystem::remove(name);
    ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
    const ProgramResult fifo = RunWithPluginIn(dir, {"check", "away:x"});
    EXPECT_EQ(fifo.status, BadList);
    EXPECT_THAT(fifo.err, HasSubstr(NOT_LOADED + name + ": not a regular file\n"));
}

} // namespace
