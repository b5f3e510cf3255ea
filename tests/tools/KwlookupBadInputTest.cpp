// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace std::string_literals;
using testing::HasSubstr;

namespace {

using namespace kwlookup;

struct BadItem {
    std::string item;
    std::string reason; ///< the start of the reason
};

/// The error names the item and the reason, and the items around it still work.
void CheckBadItem(const BadItem& bad) {
    SCOPED_TRACE(bad.item);
    const std::string error =
        "kwlookup: error: Error in init lookup [" + bad.item + "]: " + bad.reason;
    const std::string list = "before, " + bad.item + ", after";

    ProgramResult result = RunTool({"--type", "away", "find", list, "before", "x", "after"});
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.out, "before\tbefore\nafter\tafter\n");
    EXPECT_THAT(result.err, testing::StartsWith(error));

    result = RunTool({"--type", "away", "find", list, "x", "-"}, "y\n");
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::StartsWith(error));

    result = RunTool({"--type", "away", "find", "--strict", list, "before", "-"}, "after\n");
    EXPECT_EQ(result.status, BadList);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::StartsWith(error));

    result = RunTool({"--type", "away", "check", list});
    EXPECT_EQ(result.status, BadList);
    EXPECT_EQ(result.out, "2 objects, 2 records, 1 error\n");
    EXPECT_THAT(result.err, testing::StartsWith(error));
}

TEST(ToolBadInput, FilesThatCannotBeLoaded) {
    const TempDir dir;
    const std::string file = dir.Write("file", "");
    const std::string loop = dir.Path("loop");
    ASSERT_EQ(::symlink("loop", loop.c_str()), 0);
    const std::string directory = dir.Path("directory");
    ASSERT_EQ(::mkdir(directory.c_str(), 0755), 0);
    const struct {
        std::string name;
        const char* reason;
    } cases[] = {
        {dir.Path("missing"), "No such file or directory"},
        {directory, "Is a directory"},
        {file + "/below", "Not a directory"},
        {loop, "Too many levels of symbolic links"},
        {dir.Path(std::string(300, 'x')), "File name too long"},
        {"", "No such file or directory"},
        {" " + file, "No such file or directory"}, // blanks after the colon are the name's
    };
    for (const auto& c : cases)
        CheckBadItem({"file:" + c.name, "Can not load file '" + c.name + "': " + c.reason + "\n"});
}

TEST(ToolBadInput, AFileThatMayNotBeRead) {
    const TempDir dir;
    const std::string name = dir.Write("secret", "a\n");
    ASSERT_EQ(::chmod(name.c_str(), 0), 0);
    // Root may read everything unless it drops that capability.
    const std::string command =
        ::geteuid() == 0
            ? "exec setpriv --bounding-set -dac_override,-dac_read_search --inh-caps -all \"$@\""
            : "exec \"$@\"";
    const ProgramResult result =
        RunToolInShell(command, {"find", "file:" + name + ", b", "a", "b"});
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.out, "b\tb\n");
    EXPECT_EQ(result.err, "kwlookup: error: Error in init lookup [file:" + name +
                              "]: Can not load file '" + name + "': Permission denied\n");
}

TEST(ToolBadInput, AReadErrorInTheMiddleIsReported) {
    // The memory of a process can be opened, but not read at its start.
    const ProgramResult result = RunTool({"find", "file:/proc/self/mem, b", "b"});
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.out, "b\tb\n");
    EXPECT_EQ(result.err, "kwlookup: warning: KwFileLookup: read error in /proc/self/mem after 0 "
                          "records: Input/output error\n");
}

TEST(ToolBadInput, UnknownTypes) {
    for (const BadItem& bad : {
             BadItem{"nosuch:x", "unknown id 'nosuch'\n"},
             BadItem{"../x:y", "unknown id '../x'\n"},
             BadItem{"/tmp/x:y", "unknown id '/tmp/x'\n"},
             BadItem{"away:x", "Cannot load shared library libkw_lookup_away.so because "
                               "libkw_lookup_away.so: cannot open shared object file"},
             BadItem{"AWAY:", "Cannot load shared library libkw_lookup_away.so because "},
         })
        CheckBadItem(bad);
}

TEST(ToolBadInput, ListsThatCannotBeSplit) {
    const struct {
        const char* list;
        const char* reason;
    } cases[] = {
        {"before, \"open", "can't find final '\"' symbol"},
        {"\"", "can't find final '\"' symbol"},
        {"a\"", "can't find final '\"' symbol"},
        {"before, a\\", "can't find sybol after '\\x5c'"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.list);
        std::string shown = c.list;
        for (std::size_t at = 0; (at = shown.find('\\', at)) != std::string::npos; at += 4)
            shown.replace(at, 1, "\\x5c");
        const std::string error =
            "kwlookup: error: the list [" + shown + "] cannot be read: " + c.reason + "\n";
        EXPECT_EQ(RunTool({"find", c.list, "x"}), (ProgramResult{Unavailable, "", error}));
        EXPECT_EQ(RunTool({"find", "--strict", c.list, "x"}), (ProgramResult{BadList, "", error}));
        EXPECT_EQ(RunTool({"check", c.list}), (ProgramResult{BadList, "", error}));
    }
}

TEST(ToolBadInput, AnEmptyFileIsAnEmptyList) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("empty", "");
    EXPECT_EQ(RunTool({"find", file, "x"}), (ProgramResult{NotFound, "", ""}));
    EXPECT_EQ(RunTool({"find", "--exact", file, ""}), (ProgramResult{NotFound, "", ""}));
    EXPECT_EQ(RunTool({"check", file}),
              (ProgramResult{Found, "1 object, 0 records, 0 errors\n", ""}));
}

TEST(ToolBadInput, BytesOfEveryKind) {
    const TempDir dir;
    std::string bytes = "x";
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\n')
            bytes += static_cast<char>(byte);
    bytes += "x";
    const std::string file = "file:" + dir.Write("bytes", "\0\n"s + bytes + "\n\xff\xfe\n");
    EXPECT_EQ(RunTool({"--warnings=off", "check", file}),
              (ProgramResult{Found, "1 object, 3 records, 0 errors\n", ""}));
    for (const std::string& text : {bytes, "\0"s, "\xff\xfe"s})
        EXPECT_EQ(RunTool({"--warnings=off", "find", "--raw", "--exact",
                           "file:" + dir.Write("one", text), "-"},
                          text + "\n"),
                  (ProgramResult{Found, text + "\t" + text + "\n", ""}));
    EXPECT_EQ(RunTool({"--warnings=off", "find", file, "-"}, "\0\xff\xfe\n"s),
              (ProgramResult{NotFound, "", ""}));
}

void WriteLine(const std::string& name, long size) {
    std::ofstream out(name, std::ios::binary);
    const std::string block(1 << 20, 'x');
    for (long written = 0; written < size; written += static_cast<long>(block.size()))
        out << block;
}

TEST(ToolBadInput, OneLineOfAHundredMegabytes) {
    const TempDir dir;
    WriteLine(dir.Path("long"), 100L << 20);
    const std::string file = "file:" + dir.Path("long");
    EXPECT_EQ(RunTool({"check", file}),
              (ProgramResult{Found, "1 object, 1 record, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"find", file, "x"}), (ProgramResult{NotFound, "", ""}));
}

TEST(ToolBadInput, OneTextOfSixteenMegabytes) {
    const TempDir dir;
    constexpr long SIZE = 16L << 20;
    const std::string name = dir.Path("long");
    WriteLine(name, SIZE);
    for (const char* option : {"--exact", "--all"}) {
        SCOPED_TRACE(option);
        // The line is its own answer: it is printed twice, with a tab and a newline.
        EXPECT_EQ(
            RunToolInShell("\"$@\" <" + name + " | wc -c", {"find", option, "file:" + name, "-"}),
            (ProgramResult{Found, std::to_string(2 * SIZE + 2) + "\n", ""}));
    }
}

TEST(ToolBadInput, TenThousandItems) {
    std::string good;
    std::string bad;
    for (int item = 0; item < 10000; ++item) {
        good += "k" + std::to_string(item) + ",";
        bad += "x:" + std::to_string(item) + ",";
    }
    EXPECT_EQ(RunTool({"check", good}),
              (ProgramResult{Found, "10000 objects, 10000 records, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"find", good, "k9999", "x", "k0"}),
              (ProgramResult{Found, "k9999\tk9999\nk0\tk0\n", ""}));

    const ProgramResult result = RunTool({"find", bad + "last", "last"});
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.out, "last\tlast\n");
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 10001)
        << "one hint, and a line for each";
    EXPECT_THAT(result.err, HasSubstr("Error in init lookup [x:9999]: unknown id 'x'\n"));
}

TEST(ToolBadInput, HostileListsCannotForgeALine) {
    const ProgramResult result = RunTool({"check", "nosuch:a\nkwlookup: error: forged\x1b[2J"});
    EXPECT_EQ(result.status, BadList);
    EXPECT_EQ(result.err, "kwlookup: error: Error in init lookup "
                          "[nosuch:a\\x0akwlookup: error: forged\\x1b[2J]: unknown id 'nosuch'\n");
}

} // namespace
