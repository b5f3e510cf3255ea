// SPDX-License-Identifier: MIT
#include "lookup/KwLookupFinder.h"
#include "lookup/builtin/KwStrLookup.h"
#include "support/TextFinder.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Finder, HasNoResultOfItsOwn) {
    const TextFinder finder("x");
    const KwLookupFinder& base = finder;
    EXPECT_EQ(base.GetRes(), "");
    base.ClearRes();
    EXPECT_EQ(base.GetRes(), "");
}

TEST(Finder, AFailedMatchWithoutAResultIsAMiss) {
    const KwStrLookup lookup("stored");
    std::string res = "old";
    std::string matched = "old";
    EXPECT_FALSE(lookup.Find(TextFinder("searched"), &res, 0, &matched));
    EXPECT_EQ(res, "");
    EXPECT_EQ(matched, "old");
}

} // namespace
