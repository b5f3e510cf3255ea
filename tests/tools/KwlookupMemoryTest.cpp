// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace kwlookup;

TEST(ToolMemory, AFileThatDoesNotFitIsOneError) {
    const TempDir dir;
    const std::string name = dir.Write("large", "[lookup_regex]\n");
    ::chmod(name.c_str(), 0644);
    ASSERT_EQ(::truncate(name.c_str(), off_t{8} << 30), 0); // a hole, which takes no space
    const std::string too_large = "Can not load file '" + name + "': Cannot allocate memory\n";
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string error;
    } cases[] = {
        {{"check", "file:" + name}, 78, "Error in init lookup [file:" + name + "]: " + too_large},
        {{"find", "file:" + name, "a"},
         75,
         "Error in init lookup [file:" + name + "]: " + too_large},
        {{"check", "rfile:" + name}, 78, "Error in init lookup [rfile:" + name + "]: " + too_large},
        {{"--config", name, "check"}, 75, "out of memory\n"},
        {{"build", "cdb", name, dir.Path("out")},
         75,
         name + ": line 2 is longer than 16777216 bytes\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        const ProgramResult result = RunToolInShell("ulimit -v 400000; exec \"$@\"", c.arguments);
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.err, "kwlookup: error: " + c.error);
    }
    EXPECT_NE(::access(dir.Path("out").c_str(), F_OK), 0);
}

TEST(ToolMemory, WithoutASecondThreadTheFirstOneAnswers) {
    const TempDir dir;
    std::string input, answers;
    for (int i = 0; i < 5000; ++i) {
        input += i % 2 ? "a\n" : "b\n";
        answers += i % 2 ? "a\ta\n" : "";
    }
    // A stack of 4 GB does not fit.
    const ProgramResult result = RunToolInShell(
        "ulimit -s 4000000; ulimit -v 1000000; exec \"$@\" < '" + dir.Write("input", input) + "'",
        {"find", "a", "-"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, answers);
    EXPECT_EQ(result.err, "");
}
