// SPDX-License-Identifier: MIT
#include "text/IsUtf8.h"

#include <gtest/gtest.h>

#include <string_view>

using namespace kwlookup;
using namespace std::string_view_literals;

TEST(IsUtf8, KnowsCharactersOfAllLengths) {
    for (const std::string_view text :
         {""sv, "jdoe"sv, "\0"sv, "\x7f"sv, "\xc2\x80"sv, "j\xc3\xb6rg"sv, "\xdf\xbf"sv,
          "\xe0\xa0\x80"sv, "\xed\x9f\xbf"sv, "\xee\x80\x80"sv, "\xef\xbf\xbf"sv,
          "\xf0\x90\x80\x80"sv, "\xf4\x8f\xbf\xbf"sv})
        EXPECT_TRUE(IsUtf8(text)) << text;
}

TEST(IsUtf8, RefusesOtherBytes) {
    for (const std::string_view text :
         {"\x80"sv, "\xbf"sv, "\xc0\xa7"sv, "\xc1\xbf"sv, "\xc3"sv, "\xc3\x28"sv, "\xc3\xc3"sv,
          "\xe0\x9f\xbf"sv, "\xe2\x82"sv, "\xed\xa0\x80"sv, "\xed\xbf\xbf"sv, "\xf0\x8f\xbf\xbf"sv,
          "\xf0\x9f\x98"sv, "\xf4\x90\x80\x80"sv, "\xf5\x80\x80\x80"sv, "\xff"sv, "a\xc3"sv,
          "\xc3\xb6\xb6"sv})
        EXPECT_FALSE(IsUtf8(text)) << text;
}
