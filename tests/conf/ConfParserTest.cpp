// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"

#include "support/RecordingLog.h"

#include <gtest/gtest.h>

TEST(ConfParser, WarnsOfABadNumber) {
    RecordingLog::Reset();
    int out = 7;
    EXPECT_FALSE(ConfParser::IntParse("Port", "5x", &out, LogClass("conf")));
    EXPECT_EQ(out, 7);
    EXPECT_EQ(RecordingLog::Texts(3),
              std::vector<std::string>{"Wrong value [5x] in integer variable Port"});
}
