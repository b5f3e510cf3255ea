// SPDX-License-Identifier: MIT

// Concurrent searches of one list, including the first sort.

#include "lookup/builtin/KwVectorStrLookup.h"

#include "lookup/builtin/AnyKeyFinder.h"
#include "lookup/builtin/ProbeFinder.h"
#include "lookup/builtin/StringList.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

namespace {

using namespace kwlookup;

constexpr int THREADS = 8;

using Strings = std::vector<std::string>;

/// Runs `work` in many threads that start at nearly the same time.
void InThreads(int count, const std::function<void(int)>& work) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            work(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

Strings Names(std::size_t count, const std::string& suffix = "") {
    Strings names;
    for (std::size_t i = 0; i < count; ++i)
        names.push_back("User" + std::to_string(i * 7919 % count) + suffix);
    return names;
}

bool LessByUpper(const std::string& left, const std::string& right) {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](char l, char r) {
                                            return std::toupper(l, std::locale::classic()) <
                                                   std::toupper(r, std::locale::classic());
                                        });
}

class ConcurrentSearchTest : public testing::TestWithParam<int> {};

TEST_P(ConcurrentSearchTest, ManyFirstSearchesSortOnce) {
    const int flags = GetParam();
    const Strings names = Names(500);
    for (int round = 0; round < 20; ++round) {
        const StringList list(names);
        InThreads(THREADS, [&](int thread) {
            for (std::size_t i = static_cast<std::size_t>(thread); i < names.size(); i += 11) {
                std::string matched;
                EXPECT_TRUE(list.Find(ProbeFinder(names[i]), nullptr, flags, &matched));
                EXPECT_EQ(matched, names[i]);
                EXPECT_FALSE(list.Find(ProbeFinder(names[i] + "x"), nullptr, flags, nullptr));
            }
        });
    }
}

TEST_P(ConcurrentSearchTest, AWalkDuringTheSortSeesOneOfTheTwoOrders) {
    const int flags = GetParam();
    const Strings before = Names(300);
    Strings after = before;
    if (flags & FIND_NOCASE)
        std::sort(after.begin(), after.end(), LessByUpper);
    else
        std::sort(after.begin(), after.end());
    ASSERT_NE(before, after);

    for (int round = 0; round < 20; ++round) {
        const StringList list(before);
        InThreads(THREADS, [&](int thread) {
            if (thread % 2) {
                EXPECT_TRUE(list.Find(ProbeFinder(before[7]), nullptr, flags, nullptr));
                return;
            }
            for (int walk = 0; walk < 3; ++walk) {
                const ProbeFinder all("no such name");
                std::string res;
                EXPECT_FALSE(list.Find(all, &res, 0, nullptr));
                EXPECT_TRUE(all.asked == before || all.asked == after)
                    << testing::PrintToString(all.asked);
            }
        });
        const ProbeFinder all("no such name");
        std::string res;
        EXPECT_FALSE(list.Find(all, &res, 0, nullptr));
        EXPECT_EQ(all.asked, after);
    }
}

TEST_P(ConcurrentSearchTest, AWalkByKeysDuringTheSortSeesOneOfTheTwoOrders) {
    const int flags = GetParam();
    const Strings names = Names(300);
    const std::string first_listed = "User119"; // 7919 % 300 = 119: the second in the list
    const std::string first_sorted = "User0001";
    Strings all = names;
    all.push_back(first_sorted);
    for (int round = 0; round < 20; ++round) {
        const StringList list(all);
        InThreads(THREADS, [&](int thread) {
            if (thread % 2) {
                EXPECT_TRUE(list.Find(ProbeFinder(names[7]), nullptr, flags, nullptr));
                return;
            }
            for (int walk = 0; walk < 5; ++walk) {
                std::string res, matched;
                EXPECT_TRUE(list.Find(AnyKeyFinder({"uSER119", "user0001"}), &res, 0, &matched));
                EXPECT_TRUE(matched == first_listed || matched == first_sorted) << matched;
                EXPECT_FALSE(list.Find(AnyKeyFinder({"user", "x"}), &res, 0, nullptr));
            }
        });
        std::string res, matched;
        EXPECT_TRUE(list.Find(AnyKeyFinder({"uSER119", "user0001"}), &res, 0, &matched));
        EXPECT_EQ(matched, first_sorted);
    }
}

TEST_P(ConcurrentSearchTest, EightBitListsAreSearchedConcurrentlyToo) {
    const int flags = GetParam();
    const Strings names = Names(300, "\xe9");
    for (int round = 0; round < 10; ++round) {
        const StringList list(names);
        const StringList one_by_one(names);
        InThreads(THREADS, [&](int thread) {
            for (std::size_t i = static_cast<std::size_t>(thread); i < names.size(); i += 17)
                list.Find(ProbeFinder(names[i]), nullptr, flags, nullptr);
        });
        for (const std::string& name : names) {
            std::string matched = "-", expected = "-";
            list.Find(ProbeFinder(name), nullptr, flags, &matched);
            one_by_one.Find(ProbeFinder(name), nullptr, flags, &expected);
            ASSERT_EQ(matched, expected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, ConcurrentSearchTest, testing::Values(FIND_EXACT + 0, NOCASE));

TEST(ConcurrentSearchTest, BothKindsOfFirstSearchAtOnce) {
    // Both orders are the same here, so every search finds its text, whichever of them sorts.
    Strings names;
    for (int i = 0; i < 300; ++i)
        names.push_back(std::string(1, static_cast<char>('A' + i * 7 % 26)) +
                        std::to_string(1000 + i));
    for (int round = 0; round < 20; ++round) {
        const StringList list(names);
        InThreads(THREADS, [&](int thread) {
            for (std::size_t i = static_cast<std::size_t>(thread); i < names.size(); i += 13) {
                const int flags = thread % 2 ? NOCASE : FIND_EXACT + 0;
                EXPECT_TRUE(list.Find(ProbeFinder(names[i]), nullptr, flags, nullptr));
            }
        });
    }
}

TEST(ConcurrentSearchTest, AnotherThreadMaySetTheGlobalLocale) {
    const StringList list(Names(50));
    const std::locale latin1 = TestBytes::Latin1().GetLocale();
    const GlobalLocale restore{std::locale()};
    InThreads(4, [&](int thread) {
        for (int i = 0; i < 300; ++i) {
            if (thread == 0)
                std::locale::global(i % 2 ? latin1 : std::locale::classic());
            else
                EXPECT_TRUE(list.Find(ProbeFinder("uSER7"), nullptr, NOCASE, nullptr));
        }
    });
}

} // namespace
