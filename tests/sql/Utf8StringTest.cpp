// SPDX-License-Identifier: MIT
#include "sql/Utf8String.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Utf8String, HoldsACopy) {
    std::string text = "\xd0\xbf\xd0\xbe\xd1\x87\xd1\x82\xd0\xb0";
    const Utf8String copy(text.c_str());
    text.clear();
    EXPECT_STREQ(copy.c_str(), "\xd0\xbf\xd0\xbe\xd1\x87\xd1\x82\xd0\xb0");
    EXPECT_EQ(copy.size(), 10U);
}

TEST(Utf8String, TakesAnyBytes) {
    for (const std::string& text :
         {std::string(), std::string("\xff\xfe"), std::string(1024 * 1024, '\x80')}) {
        const Utf8String copy(text.c_str());
        EXPECT_EQ(copy.size(), text.size());
        EXPECT_EQ(copy.c_str(), text);
    }
}

TEST(Utf8String, IsCopiedAndAssigned) {
    Utf8String first("first");
    {
        const Utf8String second("second");
        Utf8String copy(second);
        EXPECT_STREQ(copy.c_str(), "second");
        first = copy;
    }
    EXPECT_STREQ(first.c_str(), "second");
}

} // namespace
