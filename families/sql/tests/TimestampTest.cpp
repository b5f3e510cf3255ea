// SPDX-License-Identifier: MIT
#include "families/sql/Timestamp.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace kwlookup {
namespace {

using namespace std::string_literals;

std::string Read(const std::string& text) {
    std::string utc;
    return ReadTimestamp(text, utc) ? utc : "none";
}

} // namespace

TEST(Timestamp, IsReadAsUtc) {
    struct Case {
        std::string text;
        std::string utc;
    };
    const Case cases[] = {
        {"2026-11-22", "2026-11-22 00:00:00"},
        {"2026-11-22 06:07", "2026-11-22 06:07:00"},
        {"2026-11-22 06:07:08", "2026-11-22 06:07:08"},
        {"2026-11-22T06:07:08Z", "2026-11-22 06:07:08"},
        {"2026-11-22t06:07:08z", "2026-11-22 06:07:08"},
        {"2026-11-22 06:07:08.5", "2026-11-22 06:07:08.5"},
        {"2026-11-22 06:07:08.123456", "2026-11-22 06:07:08.123456"},
        {"2026-11-22 00:30:00.25+01:00", "2026-11-21 23:30:00.25"},
        {"2026-12-31 23:30-0100", "2027-01-01 00:30:00"},
        {"2024-03-01 00:00+05", "2024-02-29 19:00:00"},
        {"2024-02-29", "2024-02-29 00:00:00"},
        {"2000-02-29", "2000-02-29 00:00:00"},
        {"1969-12-31 23:59:59", "1969-12-31 23:59:59"},
        {"1970-01-01", "1970-01-01 00:00:00"},
        {"0001-01-01", "0001-01-01 00:00:00"},
        {"9999-12-31 23:59:59", "9999-12-31 23:59:59"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(Read(test.text), test.utc) << test.text;
}

TEST(Timestamp, InvalidDatesAreRefused) {
    for (const std::string& text : {""s,
                                    " "s,
                                    "yesterday"s,
                                    "nowx"s,
                                    "1763791628"s,
                                    "2026"s,
                                    "2026-11"s,
                                    "2026-11-2"s,
                                    "26-11-22"s,
                                    "2026-13-01"s,
                                    "2026-00-01"s,
                                    "2026-01-00"s,
                                    "2026-04-31"s,
                                    "2026-02-29"s,
                                    "1900-02-29"s,
                                    "0000-01-01"s,
                                    "2026-11-22 "s,
                                    "2026-11-22 06"s,
                                    "2026-11-22 24:00"s,
                                    "2026-11-22 23:60"s,
                                    "2026-11-22 23:59:60"s,
                                    "2026-11-22 06:07:08."s,
                                    "2026-11-22 06:07:08.1234567"s,
                                    "2026-11-22 06:07 Z"s,
                                    "2026-11-22Z"s,
                                    "2026-11-22 06:07:08+1"s,
                                    "2026-11-22 06:07:08+16"s,
                                    "2026-11-22 06:07:08+01:60"s,
                                    "2026-11-22 06:07:08+01:"s,
                                    "2026-11-22 06:07:08x"s,
                                    " 2026-11-22"s,
                                    "2026/11/22"s,
                                    "2026-11-22 06:07:08\0"s,
                                    "0001-01-01 00:00+01"s,
                                    "9999-12-31 23:59-01"s,
                                    "\xb2\xb0\xb2\xb6-11-22"s})
        EXPECT_EQ(Read(text), "none") << text;
}

TEST(Timestamp, NowIsNow) {
    for (const char* text : {"now", "NOW", "Now"}) {
        std::tm parts{};
        const std::time_t before = std::time(nullptr);
        ASSERT_TRUE(::strptime(Read(text).c_str(), "%Y-%m-%d %H:%M:%S", &parts));
        const std::time_t now = ::timegm(&parts);
        EXPECT_GE(now, before);
        EXPECT_LE(now, std::time(nullptr));
    }
}

} // namespace kwlookup
