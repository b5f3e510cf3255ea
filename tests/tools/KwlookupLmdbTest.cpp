// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;

class ToolBuildLmdb : public testing::Test {
protected:
    ProgramResult Build(const std::string& lines, std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"build", "lmdb"});
        options.push_back(m_dir.Write("in", lines));
        options.push_back(m_dir.Path("out.lmdb"));
        return RunTool(options);
    }

    std::string Find(const std::string& text, const std::string& settings = "") const {
        return RunTool({"find",
                        "lmdb:OnError=exception|" + settings +
                            "Database=" + m_dir.Path("out.lmdb") + "|$s",
                        text})
            .out;
    }

    const TempDir m_dir;
};

TEST_F(ToolBuildLmdb, TheFirstLineWithAKeyCounts) {
    const ProgramResult result = Build("# comment\nb two words\n\nA 1\nplain\nB again\n");
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.out, m_dir.Path("out.lmdb") + ": 3 records\n");
    EXPECT_THAT(result.err, HasSubstr("'b' is already in line 2; this one is left out"));
    EXPECT_EQ(Find("b"), "b\ttwo words\n");
    EXPECT_EQ(Find("a"), "a\t1\n");
    EXPECT_EQ(Find("plain"), "plain\tplain\n");
    EXPECT_EQ(Find("c"), "");
}

TEST_F(ToolBuildLmdb, KeepsAllValuesWhenTold) {
    EXPECT_EQ(Build("b 2\na x\nb 1\nb 1\nb 3\n", {"--all-values"}).err, "");
    EXPECT_EQ(Find("b"), "b\t1\n");
    EXPECT_EQ(Find("b", "AllValues=yes|"), "b\t1 2 3\n");
}

TEST_F(ToolBuildLmdb, MakesLargeFilesAndReplacesThem) {
    std::string lines;
    for (int i = 0; i < 20000; ++i)
        lines += "key" + std::to_string(i) + " " + std::string(1 + i % 100, 'v') + "\n";
    lines += "large " + std::string(1 << 20, 'x') + "\n" + std::string(511, 'k') + " long\n";
    EXPECT_EQ(Build(lines).out, m_dir.Path("out.lmdb") + ": 20002 records\n");
    EXPECT_EQ(Find("key19999"), "key19999\t" + std::string(100, 'v') + "\n");
    EXPECT_EQ(Find("large"), "large\t" + std::string(1 << 20, 'x') + "\n");
    EXPECT_EQ(Find(std::string(511, 'k')), std::string(511, 'k') + "\tlong\n");
    EXPECT_EQ(Build("").out, m_dir.Path("out.lmdb") + ": 0 records\n");
    EXPECT_EQ(Find("key1"), "");
}

TEST_F(ToolBuildLmdb, WhatDoesNotFitIsAnErrorAndLeavesTheOldFile) {
    EXPECT_EQ(Build("a old\n").status, Found);
    ProgramResult result = Build(std::string(512, 'k') + " value\n");
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_THAT(result.err, HasSubstr(": a key must have 1 to 511 bytes\n"));
    result = Build("a " + std::string(512, 'v') + "\n", {"--all-values"});
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_THAT(result.err, HasSubstr(": a value of several must have at most 511 bytes\n"));
    EXPECT_EQ(Find("a"), "a\told\n");
}

} // namespace
