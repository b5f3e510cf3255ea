// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/LogLimit.h"

#include <gtest/gtest.h>

#include <chrono>

using kwlookup::LogLimit;
using std::chrono::seconds;

TEST(LogLimitTest, LetsOneLineAMinutePass) {
    LogLimit limit;
    const LogLimit::Clock::time_point start;
    EXPECT_EQ(limit.Count(start), 0U);
    EXPECT_FALSE(limit.Count(start));
    EXPECT_FALSE(limit.Count(start + seconds(59)));
    EXPECT_EQ(limit.Count(start + seconds(60)), 2U);
    EXPECT_FALSE(limit.Count(start + seconds(119)));
    EXPECT_EQ(limit.Count(start + seconds(500)), 1U);
    EXPECT_EQ(limit.Count(start + seconds(600)), 0U);
}
