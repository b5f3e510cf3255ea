// SPDX-License-Identifier: MIT
#include "families/servers/AnswerCache.h"

#include "families/servers/QuestionFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kwlookup {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A cache, and a server that may fail.
class AnswerCacheTest : public testing::Test {
protected:
    AnswerCacheTest() {
        m_settings.cache_size = 100;
        m_settings.max_rows = 10;
    }

    /// Made by the first call, before any threads are started.
    AnswerCache& Cache() {
        if (!m_cache)
            m_cache = std::make_unique<AnswerCache>(m_settings);
        return *m_cache;
    }

    /// The result, "miss", or the exception.
    std::string Ask(const std::string& question) {
        try {
            const auto answer = Cache().Get(question, Deadline(seconds(10)), [&](Answer& empty) {
                ++m_asked;
                while (m_hold)
                    std::this_thread::sleep_for(milliseconds(1));
                if (!m_away.empty())
                    throw ServerFault(m_away);
                if (!m_wrong.empty())
                    throw QuestionFault(m_wrong);
                if (m_value.empty())
                    return;
                empty.AddRow();
                empty.AddValue(m_value);
            });
            return answer->IsFound() ? answer->GetResult() : "miss";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    ServerSettings m_settings;
    std::unique_ptr<AnswerCache> m_cache;
    std::atomic<int> m_asked{0};
    std::string m_value = "OK";
    std::string m_away;
    std::string m_wrong;
    std::atomic<bool> m_hold{false}; ///< the server does not answer yet
};

TEST_F(AnswerCacheTest, KeepsNothingByDefault) {
    EXPECT_EQ(Ask("a"), "OK");
    m_value = "new";
    EXPECT_EQ(Ask("a"), "new");
    EXPECT_EQ(m_asked, 2);
}

TEST_F(AnswerCacheTest, KeepsAnswersForTheirTime) {
    m_settings.cache_time = seconds(60);
    EXPECT_EQ(Ask("a"), "OK");
    m_value = "new";
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(Ask("b"), "new");
    EXPECT_EQ(m_asked, 2);
    // The time for misses is zero here.
    m_value = "";
    EXPECT_EQ(Ask("c"), "miss");
    m_value = "found";
    EXPECT_EQ(Ask("c"), "found");
}

TEST_F(AnswerCacheTest, KeepsMissesForTheirTime) {
    m_settings.negative_cache_time = seconds(60);
    m_value = "";
    EXPECT_EQ(Ask("a"), "miss");
    m_value = "OK";
    EXPECT_EQ(Ask("a"), "miss");
    EXPECT_EQ(Ask("b"), "OK");
    m_value = "new";
    EXPECT_EQ(Ask("b"), "new");
}

TEST_F(AnswerCacheTest, KeepsNothingLonger) {
    m_settings.cache_time = m_settings.negative_cache_time = milliseconds(20);
    m_value = "";
    EXPECT_EQ(Ask("a"), "miss");
    m_value = "OK";
    EXPECT_EQ(Ask("b"), "OK");
    m_value = "new";
    std::this_thread::sleep_for(milliseconds(30));
    EXPECT_EQ(Ask("a"), "new");
    EXPECT_EQ(Ask("b"), "new");
}

TEST_F(AnswerCacheTest, NeverKeepsFaults) {
    m_settings.cache_time = m_settings.negative_cache_time = m_settings.stale_time = seconds(60);
    m_away = "gone";
    EXPECT_EQ(Ask("a"), "gone");
    EXPECT_EQ(Ask("a"), "gone");
    m_away = "";
    m_wrong = "no such table";
    EXPECT_EQ(Ask("a"), "no such table");
    m_wrong = "";
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(m_asked, 4);
}

TEST_F(AnswerCacheTest, DropsTheLeastRecentlyUsedAnswer) {
    m_settings.cache_time = seconds(60);
    m_settings.cache_size = 2;
    Ask("a");
    Ask("b");
    Ask("a");
    Ask("c"); // in the place of b
    m_value = "new";
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(Ask("c"), "OK");
    EXPECT_EQ(Ask("b"), "new");
    EXPECT_EQ(Ask("a"), "new");
}

TEST_F(AnswerCacheTest, KeepsAsManyAsCacheSize) {
    m_settings.cache_time = seconds(60);
    m_settings.cache_size = 1000;
    for (int i = 0; i < 1000; ++i)
        Ask(std::to_string(i));
    m_value = "new";
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(Ask(std::to_string(i)), "OK");
    EXPECT_EQ(m_asked, 1000);
}

TEST_F(AnswerCacheTest, KeepsNoLongAnswers) {
    m_settings.cache_time = seconds(60);
    m_value = std::string(64 * 1024, 'x');
    Ask("a");
    m_value = std::string(64 * 1024 - 1, 'x');
    Ask("b");
    m_value = "new";
    EXPECT_EQ(Ask("a"), "new");
    EXPECT_EQ(Ask("b").size(), 64u * 1024 - 1);
}

TEST_F(AnswerCacheTest, OldAnswersStandInForAServerThatIsAway) {
    m_settings.cache_time = milliseconds(20);
    m_settings.stale_time = seconds(60);
    EXPECT_EQ(Ask("a"), "OK");
    std::this_thread::sleep_for(milliseconds(30));
    m_away = "gone";
    EXPECT_EQ(Cache().TakeStaleReason(), "");
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(Cache().TakeStaleReason(), "gone");
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(Cache().TakeStaleReason(), ""); // once a minute
    const auto now = Deadline::Clock::now();
    EXPECT_EQ(Cache().TakeStaleReason(now + std::chrono::seconds(50)), "");
    EXPECT_EQ(Cache().TakeStaleReason(now + std::chrono::seconds(60)), "gone");
    EXPECT_EQ(Ask("a"), "OK");
    EXPECT_EQ(Cache().TakeStaleReason(now + std::chrono::seconds(110)), "");
    EXPECT_EQ(Ask("b"), "gone");
    // Only for a server that cannot be asked.
    m_away = "";
    m_wrong = "no such table";
    EXPECT_EQ(Ask("a"), "no such table");
}

TEST_F(AnswerCacheTest, OldAnswersStandInForTheirTime) {
    m_settings.cache_time = m_settings.stale_time = milliseconds(20);
    EXPECT_EQ(Ask("a"), "OK");
    std::this_thread::sleep_for(milliseconds(50));
    m_away = "gone";
    EXPECT_EQ(Ask("a"), "gone");
}

TEST_F(AnswerCacheTest, EqualQuestionsAtOnceAreAskedOnce) {
    Cache();
    struct Case {
        std::string away, wrong, value, answer;
    };
    const Case cases[] = {{"", "", "OK", "OK"},
                          {"", "", "", "miss"},
                          {"gone", "", "", "gone"},
                          {"", "no such table", "", "no such table"}};
    for (const Case& c : cases) {
        m_away = c.away;
        m_wrong = c.wrong;
        m_value = c.value;
        m_asked = 0;
        m_hold = true;
        std::vector<std::string> answers(8);
        std::vector<std::thread> threads;
        std::atomic<std::size_t> begun{0};
        for (std::string& answer : answers)
            threads.emplace_back([&] {
                ++begun;
                answer = Ask("a");
            });
        while (begun < answers.size())
            std::this_thread::yield();
        std::this_thread::sleep_for(milliseconds(200)); // the last one may not have asked yet
        m_hold = false;
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_THAT(answers, testing::Each(c.answer));
        EXPECT_EQ(m_asked, 1);
    }
}

TEST_F(AnswerCacheTest, NoSearchWaitsForAnotherLongerThanItsOwnTime) {
    Cache();
    m_hold = true;
    std::thread first([&] { Ask("a"); });
    while (m_asked == 0)
        std::this_thread::yield();
    EXPECT_THROW(Cache().Get("a", Deadline(milliseconds(50)), [](Answer&) { FAIL(); }),
                 ServerFault);
    m_hold = false;
    first.join();
}

TEST_F(AnswerCacheTest, RefusesMoreRowsThanMaxRows) {
    m_settings.max_rows = 2;
    EXPECT_THROW(Cache().Get("a", Deadline(seconds(1)),
                             [](Answer& answer) {
                                 for (int i = 0; i < 3; ++i)
                                     answer.AddRow();
                             }),
                 std::runtime_error);
}

} // namespace
} // namespace kwlookup
