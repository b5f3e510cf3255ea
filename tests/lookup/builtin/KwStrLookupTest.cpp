// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwStrLookup.h"

#include "host/LogClass.h"
#include "lookup/builtin/ProbeFinder.h"
#include "support/TestLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

using namespace kwlookup;

TEST(KwStrLookup, AsksTheFinder) {
    const KwStrLookup lookup("Alpha");
    // With any bit but FIND_EXACT the finder decides.
    for (const int flags : {0, 2, 4, 8, 14, 0x7ffffffe}) {
        SCOPED_TRACE(flags);
        std::string res = "old";
        std::string matched = "old";

        const ProbeFinder yes("Alpha");
        EXPECT_TRUE(lookup.Find(yes, &res, flags, &matched));
        EXPECT_THAT(yes.asked, ElementsAre("Alpha"));
        EXPECT_EQ(res, "old");
        EXPECT_EQ(matched, "Alpha");
        EXPECT_EQ(yes.cleared, 0);
        EXPECT_TRUE(lookup.Find(yes, &res, flags, nullptr));

        matched = "old";
        const ProbeFinder no("alpha");
        EXPECT_FALSE(lookup.Find(no, &res, flags, &matched));
        EXPECT_EQ(res, "") << "the empty result of the finder";
        EXPECT_EQ(matched, "old");
        EXPECT_EQ(no.cleared, 1);

        ProbeFinder own("alpha");
        own.result_at = "Alpha";
        EXPECT_TRUE(lookup.Find(own, &res, flags, &matched));
        EXPECT_EQ(res, "the result of Alpha");
        EXPECT_EQ(matched, "old") << "not written for a result of the finder's own";
        EXPECT_EQ(own.cleared, 1);
        EXPECT_EQ(own.result, "");
    }
}

TEST(KwStrLookup, ComparesExactly) {
    const struct {
        std::string stored, request;
        bool equal, equal_nocase;
    } cases[] = {
        {"Alpha", "Alpha", true, true},
        {"Alpha", "alpha", false, true},
        {"alpha", "ALPHA", false, true},
        {"Alpha", "Alph", false, false},
        {"Alph", "Alpha", false, false},
        {"Alpha", " Alpha", false, false},
        {"", "", true, true},
        {"", "a", false, false},
        {"a", "", false, false},
        {"a\0b"s, "a\0b"s, true, true},
        {"a\0b"s, "A\0B"s, false, true},
        {"a\0b"s, "a\0c"s, false, false},
        {"a", "a\0"s, false, false},
        {"\xe9", "\xe9", true, true},
        {"\xe9", "\xc9", false, false},
        {"@", "`", false, false},
        {"[", "{", false, false},
        {std::string(1 << 20, 'a'), std::string(1 << 20, 'A'), false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.substr(0, 20) + " and " + c.request.substr(0, 20));
        const KwStrLookup lookup(c.stored);
        for (const auto& [flags, expected] :
             {std::pair(FIND_EXACT + 0, c.equal), std::pair(FIND_EXACT | 12, c.equal),
              std::pair(NOCASE, c.equal_nocase), std::pair(NOCASE | 12, c.equal_nocase)}) {
            SCOPED_TRACE(flags);
            const ProbeFinder finder(c.request);
            std::string res = "old";
            std::string matched = "old";
            EXPECT_EQ(lookup.Find(finder, &res, flags, &matched), expected);
            EXPECT_EQ(res, "old");
            EXPECT_EQ(matched, expected ? c.stored : "old");
            EXPECT_EQ(lookup.Find(finder, nullptr, flags, nullptr), expected);
            EXPECT_TRUE(finder.asked.empty());
            EXPECT_EQ(finder.cleared, 0);
        }
    }
}

TEST(KwStrLookup, FoldsLettersByTheGlobalLocale) {
    const KwStrLookup lookup("\xe9t\xe9");
    const ProbeFinder finder("\xc9T\xc9");
    EXPECT_FALSE(lookup.Find(finder, nullptr, NOCASE, nullptr));
    const GlobalLocale global(TestBytes::Latin1().GetLocale());
    std::string matched;
    EXPECT_TRUE(lookup.Find(finder, nullptr, NOCASE, &matched));
    EXPECT_EQ(matched, "\xe9t\xe9");
    EXPECT_FALSE(lookup.Find(finder, nullptr, FIND_EXACT, nullptr));
}

TEST(KwStrLookup, TakesAnotherTextAndNoLogger) {
    KwStrLookup lookup("a");
    lookup.Init("b");
    EXPECT_FALSE(lookup.Find(ProbeFinder("a"), nullptr, FIND_EXACT, nullptr));
    EXPECT_TRUE(lookup.Find(ProbeFinder("b"), nullptr, FIND_EXACT, nullptr));
    const LogClass log("list");
    lookup.InitLog(log);
    EXPECT_EQ(lookup.GetLogPtr(), nullptr);
    EXPECT_EQ(lookup.GetDescription(), "");
}

} // namespace
