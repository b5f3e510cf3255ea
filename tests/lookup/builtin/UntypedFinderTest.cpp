// SPDX-License-Identifier: MIT
#include "lookup/builtin/StringList.h"
#include "lookup/builtin/UntypedFinders.h"

#include <gtest/gtest.h>

namespace {

using namespace kwlookup;

std::vector<std::string> ManyValues() {
    std::vector<std::string> values;
    for (int i = 0; i < 1000; ++i)
        values.push_back("value" + std::to_string(i));
    return values;
}

TEST(UntypedFinder, WithoutKeysTheListIsWalked) {
    const StringList list(ManyValues());
    std::string res, matched;
    EXPECT_TRUE(list.Find(*MakeUntypedFinder("value700"), &res, 0, &matched));
    EXPECT_EQ(matched, "value700");
    EXPECT_FALSE(list.Find(*MakeUntypedFinder("x"), &res, 0, nullptr));
    EXPECT_TRUE(list.Find(*MakeUntypedFinder("value7"), nullptr, FIND_EXACT, nullptr));
    EXPECT_TRUE(list.Find(*MakeUntypedFinder("value7"), &res, 0, nullptr));
}

TEST(UntypedFinder, WithKeysTheIndexAnswers) {
    const StringList list(ManyValues());
    int matches = 0;
    std::string res, matched;
    EXPECT_TRUE(list.Find(*MakeUntypedKeyedFinder("value700", matches), &res, 0, &matched));
    EXPECT_EQ(matched, "value700");
    EXPECT_FALSE(list.Find(*MakeUntypedKeyedFinder("x", matches), &res, 0, nullptr));
    EXPECT_EQ(matches, 1);
}

} // namespace
