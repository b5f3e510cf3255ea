// SPDX-License-Identifier: MIT
#include "tools/Tool.h"

#include <gtest/gtest.h>

using namespace kwlookup;

TEST(ToolPlugin, NeedsNoTypeInformation) {
    EXPECT_EQ(RunTool({"check", "postgres:x"}),
              (ProgramResult{0, "1 object, 1 record, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"find", "--explain", "postgres:x", "a"}),
              (ProgramResult{0, "a\ta\tpostgres:x\t\t\n", ""}));
    EXPECT_EQ(RunTool({"compare", "postgres:x", "a"}, "a\n").status, 0);
}
