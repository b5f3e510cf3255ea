// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwVectorStrLookup.h"

#include "host/LogClass.h"
#include "lookup/builtin/ProbeFinder.h"
#include "lookup/builtin/StringList.h"
#include "support/TestLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace kwlookup;

/// Returns the string that a search finds, or "-". Checks that it sets nothing else.
std::string Search(const KwVectorStrLookup& list, const std::string& text, int flags = FIND_EXACT) {
    const ProbeFinder finder(text);
    std::string res = "old";
    std::string matched = "-";
    const bool found = list.Find(finder, &res, flags, &matched);
    EXPECT_EQ(found, matched != "-");
    EXPECT_EQ(list.Find(finder, nullptr, flags, nullptr), found);
    EXPECT_EQ(res, "old");
    EXPECT_THAT(finder.asked, IsEmpty());
    EXPECT_EQ(finder.cleared, 0);
    return matched;
}

/// Returns the order in which a search without FIND_EXACT visits the strings.
std::vector<std::string> Order(const KwVectorStrLookup& list) {
    const ProbeFinder finder("no such string");
    std::string res;
    EXPECT_FALSE(list.Find(finder, &res, 0, nullptr));
    return finder.asked;
}

TEST(KwVectorStrLookup, WalksTheListUntilTheFinderAccepts) {
    const StringList list({"c", "a", "b", "a"});
    for (const int flags : {0, 2, 4, 8, 14}) {
        SCOPED_TRACE(flags);
        std::string res = "old";
        std::string matched = "old";
        ProbeFinder yes("a");
        EXPECT_TRUE(list.Find(yes, &res, flags, &matched));
        EXPECT_THAT(yes.asked, ElementsAre("c", "a"));
        EXPECT_EQ(matched, "a");
        EXPECT_EQ(res, "old");
        EXPECT_EQ(yes.cleared, 0);
        EXPECT_TRUE(list.Find(yes, &res, flags, nullptr));

        matched = "old";
        ProbeFinder no("d");
        EXPECT_FALSE(list.Find(no, &res, flags, &matched));
        EXPECT_THAT(no.asked, ElementsAre("c", "a", "b", "a"));
        EXPECT_EQ(res, "");
        EXPECT_EQ(matched, "old");
        EXPECT_EQ(no.cleared, 1);

        ProbeFinder own("d");
        own.result_at = "a";
        EXPECT_TRUE(list.Find(own, &res, flags, &matched));
        EXPECT_THAT(own.asked, ElementsAre("c", "a", "b", "a"));
        EXPECT_EQ(res, "the result of a");
        EXPECT_EQ(matched, "old");
        EXPECT_EQ(own.cleared, 1);

        // A plain match further down does not change the finder's result.
        ProbeFinder both("b");
        both.result_at = "c";
        res = "old";
        EXPECT_TRUE(list.Find(both, &res, flags, &matched));
        EXPECT_EQ(matched, "b");
        EXPECT_EQ(res, "old");
        EXPECT_EQ(both.result, "the result of c");
        EXPECT_EQ(both.cleared, 0);
    }
}

TEST(KwVectorStrLookup, AnEmptyListReturnsTheResultOfTheFinder) {
    const StringList list;
    EXPECT_EQ(Search(list, ""), "-");
    EXPECT_EQ(Search(list, "a"), "-");
    EXPECT_EQ(Search(list, "", NOCASE), "-");
    const ProbeFinder finder("a");
    std::string res = "old";
    EXPECT_FALSE(list.Find(finder, &res, 0, nullptr));
    EXPECT_EQ(res, "");
    finder.result = "from before";
    EXPECT_TRUE(list.Find(finder, &res, 0, nullptr));
    EXPECT_EQ(res, "from before");
    EXPECT_EQ(finder.result, "");
}

TEST(KwVectorStrLookup, SearchesExactly) {
    const StringList list({"delta", "Alpha", "", "beta", "a", "a", "b\0c"s, "alpha"});
    EXPECT_EQ(Search(list, "Alpha"), "Alpha");
    EXPECT_EQ(Search(list, "alpha"), "alpha");
    EXPECT_EQ(Search(list, "ALPHA"), "-");
    EXPECT_EQ(Search(list, "a"), "a");
    EXPECT_EQ(Search(list, ""), "");
    EXPECT_EQ(Search(list, "b"), "-");
    EXPECT_EQ(Search(list, "b\0c"s), "b\0c"s);
    EXPECT_EQ(Search(list, "b\0d"s), "-");
    EXPECT_EQ(Search(list, "delta "), "-");
    EXPECT_EQ(Search(list, "zzz"), "-");
    EXPECT_EQ(Search(list, "delta", FIND_EXACT | 4 | 8), "delta");
    EXPECT_EQ(list.GetCount(), 8u);
}

TEST(KwVectorStrLookup, SearchesIgnoringCase) {
    const StringList list({"delta", "Beta", "@", "[", "a\0b"s});
    EXPECT_EQ(Search(list, "BETA", NOCASE), "Beta");
    EXPECT_EQ(Search(list, "DELTA", NOCASE), "delta");
    EXPECT_EQ(Search(list, "A\0B"s, NOCASE), "a\0b"s);
    EXPECT_EQ(Search(list, "`", NOCASE), "-");
    EXPECT_EQ(Search(list, "{", NOCASE), "-");
    EXPECT_EQ(Search(list, "bet", NOCASE), "-");
    EXPECT_EQ(Search(list, "betaa", NOCASE), "-");
}

TEST(KwVectorStrLookup, SortsOnceInTheOrderOfTheFirstExactSearch) {
    StringList list({"b", "C", "a", "B"});
    EXPECT_THAT(Order(list), ElementsAre("b", "C", "a", "B")) << "a walk does not sort";
    EXPECT_EQ(Search(list, "C"), "C");
    EXPECT_THAT(Order(list), ElementsAre("B", "C", "a", "b"));
    Search(list, "a", NOCASE);
    EXPECT_THAT(Order(list), ElementsAre("B", "C", "a", "b")) << "sorted once";

    // After a Push the next exact search sorts the list again, in its own order.
    list.Init("0");
    EXPECT_THAT(Order(list), ElementsAre("B", "C", "a", "b", "0"));
    EXPECT_EQ(Search(list, "0", NOCASE), "0");
    EXPECT_THAT(Order(list), ElementsAre("0", "a", "B", "b", "C"));
    Search(list, "0");
    EXPECT_THAT(Order(list), ElementsAre("0", "a", "B", "b", "C"));
    list.Init("1");
    Search(list, "x");
    EXPECT_THAT(Order(list), ElementsAre("0", "1", "B", "C", "a", "b"));
}

TEST(KwVectorStrLookup, OfEqualStringsFindsTheFirstInTheOrderOfTheSort) {
    const StringList list({"beta", "BETA", "Beta", "beta"});
    EXPECT_EQ(Search(list, "bEtA", NOCASE), "beta") << "few equal strings stay in list order";
    const StringList sorted({"beta", "BETA"});
    EXPECT_EQ(Search(sorted, "BETA"), "BETA"); // sorts: BETA, beta
    EXPECT_EQ(Search(sorted, "beta", NOCASE), "BETA");
}

TEST(KwVectorStrLookup, ASearchInTheOtherOrderMayMiss) {
    const StringList nocase_first({"B", "a", "C"});
    EXPECT_EQ(Search(nocase_first, "b", NOCASE), "B"); // sorts: a, B, C
    EXPECT_EQ(Search(nocase_first, "C"), "C");
    EXPECT_EQ(Search(nocase_first, "a"), "-");
    EXPECT_EQ(Search(nocase_first, "B"), "-");

    const StringList plain_first({"B", "a", "C"});
    EXPECT_EQ(Search(plain_first, "B"), "B"); // sorts: B, C, a
    EXPECT_EQ(Search(plain_first, "a", NOCASE), "-");
    EXPECT_EQ(Search(plain_first, "b", NOCASE), "B");
    EXPECT_EQ(Search(plain_first, "c", NOCASE), "C");
}

TEST(KwVectorStrLookup, SortsBytesAsUnsignedAndSearchesThemAsSigned) {
    const StringList alone({"\xe9"});
    EXPECT_EQ(Search(alone, "\xe9"), "\xe9");
    const StringList all_high({"\xfc", "\xe9", "\xf6"});
    for (const char* text : {"\xe9", "\xf6", "\xfc"})
        EXPECT_EQ(Search(all_high, text), text);

    // Sorted as a, z, 0xe9; 0xe9 is searched below z.
    const StringList mixed({"\xe9", "z", "a"});
    EXPECT_EQ(Search(mixed, "a"), "a");
    EXPECT_EQ(Search(mixed, "z"), "z");
    EXPECT_EQ(Search(mixed, "\xe9"), "-");
    EXPECT_THAT(Order(mixed), ElementsAre("a", "z", "\xe9"));

    // Sorted as az, a0xe9: the search compares with a0xe9 first, and searches for az after it.
    const StringList ascii_missed({"a\xe9", "az"});
    EXPECT_EQ(Search(ascii_missed, "az"), "-");
    EXPECT_EQ(Search(ascii_missed, "a\xe9"), "-");

    // When case is ignored, the sort compares signed values too, so everything is found.
    const StringList nocase({"\xe9", "z", "a", "a\xe9", "az"});
    for (const char* text : {"\xe9", "z", "a", "a\xe9", "az"})
        EXPECT_EQ(Search(nocase, text, NOCASE), text);
    EXPECT_THAT(Order(nocase), ElementsAre("\xe9", "a", "a\xe9", "az", "z"));
    for (const char* text : {"\xe9", "z", "a", "a\xe9", "az"})
        EXPECT_EQ(Search(nocase, text), text) << "in the order of the search with regard to case";
}

TEST(KwVectorStrLookup, FoldsByTheLocaleOfEachSearch) {
    const StringList list({"\xe9", "\xc9", "b", "A"});
    EXPECT_EQ(Search(list, "a", NOCASE), "A"); // sorts: 0xc9, 0xe9, A, b
    EXPECT_EQ(Search(list, "\xc9", NOCASE), "\xc9");
    EXPECT_EQ(Search(list, "\xe9", NOCASE), "\xe9");
    {
        const GlobalLocale global(TestBytes::Latin1().GetLocale());
        EXPECT_EQ(Search(list, "\xc9", NOCASE), "\xc9");
        EXPECT_EQ(Search(list, "\xe9", NOCASE), "\xc9") << "both are one now";
        EXPECT_EQ(Search(list, "B", NOCASE), "b");
        EXPECT_THAT(Order(list), ElementsAre("\xc9", "\xe9", "A", "b"));
    }
    {
        TestBytes turned; // a sorts after b
        turned.upper['a'] = turned.upper['A'] = 'Z';
        const GlobalLocale global(turned.GetLocale());
        EXPECT_EQ(Search(list, "b", NOCASE), "-") << "missed: the list is not in this order";
        EXPECT_EQ(Search(list, "z", NOCASE), "A") << "A folds to Z";
    }
    EXPECT_EQ(Search(list, "\xe9", NOCASE), "\xe9");
}

TEST(KwVectorStrLookup, TakesLargeStringsAndLists) {
    const std::string large(1 << 20, 'x');
    StringList list({large + "b", large, large + "a"});
    EXPECT_EQ(Search(list, large), large);
    EXPECT_EQ(Search(list, large + "a"), large + "a");
    EXPECT_EQ(Search(list, large + "c"), "-");
    EXPECT_EQ(Search(list, std::string(1 << 20, 'X'), NOCASE), large);

    StringList many;
    for (int i = 0; i < 20000; ++i)
        many.Init("User" + std::to_string(i * 7919 % 20000));
    for (int i = 0; i < 20000; i += 7) {
        const std::string name = "User" + std::to_string(i);
        EXPECT_EQ(Search(many, name), name);
        EXPECT_EQ(Search(many, name + "x"), "-");
    }
}

TEST(KwVectorStrLookup, KeepsTheAddressOfItsLogger) {
    StringList list;
    EXPECT_EQ(list.GetLogPtr(), nullptr);
    const LogClass log("list");
    list.InitLog(log);
    EXPECT_EQ(list.GetLogPtr(), &log);
    const KwIfObject& object = list;
    EXPECT_EQ(object.GetLogPtr(), &log);
}

TEST(KwVectorStrLookup, CopiesPushedStrings) {
    StringList list;
    std::string value = "a";
    list.Push(value);
    EXPECT_EQ(value, "a");
    value = "b";
    EXPECT_EQ(Search(list, "a"), "a");
    EXPECT_EQ(Search(list, "b"), "-");
}

} // namespace
