// SPDX-License-Identifier: MIT
#include "families/servers/ServerHealth.h"

#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace kwlookup {
namespace {

using testing::ElementsAre;

constexpr std::chrono::milliseconds LONG(60000);
constexpr std::chrono::milliseconds SHORT(50);

/// The exception of GetOrder(), or empty.
std::string DownReason(ServerHealth& health) {
    try {
        health.GetOrder();
    } catch (const ServerFault& fault) {
        return fault.what();
    }
    return "";
}

TEST(ServerHealth, KeepsTheOrderOfTheList) {
    ServerHealth health(3, false, LONG);
    for (int i = 0; i < 10; ++i)
        EXPECT_THAT(health.GetOrder(), ElementsAre(0, 1, 2));
}

TEST(ServerHealth, MixesThem) {
    ServerHealth health(3, true, LONG);
    std::set<std::vector<std::size_t>> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(health.GetOrder());
    EXPECT_EQ(seen.size(), 6u);
    health.Failed(1, "b: gone");
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(health.GetOrder().back(), 1u);
}

TEST(ServerHealth, LeavesFailedServersForTheEnd) {
    ServerHealth health(3, false, LONG);
    health.Failed(0, "a: gone");
    EXPECT_THAT(health.GetOrder(), ElementsAre(1, 2, 0));
    health.Failed(1, "b: gone");
    EXPECT_THAT(health.GetOrder(), ElementsAre(2, 0, 1));
    health.Failed(0, "a: gone again");
    EXPECT_THAT(health.GetOrder(), ElementsAre(2, 1, 0));
    health.Worked(0);
    EXPECT_THAT(health.GetOrder(), ElementsAre(0, 2, 1));
}

TEST(ServerHealth, FailsAtOnceWhileAllAreDown) {
    ServerHealth health(2, false, LONG);
    health.Failed(1, "b: silent");
    health.Failed(0, "a: gone");
    EXPECT_EQ(DownReason(health), "a: gone; b: silent");
    health.Worked(1);
    EXPECT_THAT(health.GetOrder(), ElementsAre(1, 0));
}

/// The result of `observe()`, which may be late on a machine under load, but not each time.
template <typename Observe>
std::string Observed(const std::string& expected, Observe&& observe) {
    std::string seen;
    for (int i = 0; i < 50 && seen != expected; ++i)
        seen = observe();
    return seen;
}

/// The numbers, or the exception.
std::string OrderOf(ServerHealth& health) {
    try {
        std::string order;
        for (const std::size_t i : health.GetOrder())
            order += std::to_string(i);
        return order + ' ';
    } catch (const ServerFault& fault) {
        return fault.what() + std::string(" ");
    }
}

TEST(ServerHealth, LetsOneSearchTryAfterTheInterval) {
    const std::string of_one = "gone 0 gone ";
    EXPECT_EQ(of_one, Observed(of_one, [] {
                  ServerHealth one(1, false, SHORT);
                  one.Failed(0, "gone");
                  std::string seen = OrderOf(one);
                  std::this_thread::sleep_for(SHORT);
                  seen += OrderOf(one);
                  return seen + OrderOf(one);
              }));
    const std::string of_two = "10 01 10 10 ";
    EXPECT_EQ(of_two, Observed(of_two, [] {
                  ServerHealth two(2, false, SHORT);
                  two.Failed(0, "a: gone");
                  std::string seen = OrderOf(two);
                  std::this_thread::sleep_for(SHORT);
                  seen += OrderOf(two);
                  seen += OrderOf(two);
                  two.Failed(1, "b: gone");
                  two.Failed(0, "a: gone");
                  std::this_thread::sleep_for(SHORT);
                  return seen + OrderOf(two); // the oldest failure first
              }));
}

TEST(ServerHealth, LetsOneOfManyThreadsTryAfterTheInterval) {
    constexpr int THREADS = 8;
    ServerHealth health(1, false, SHORT);
    int counted = 0;
    for (int round = 0; counted < 10 && round < 500; ++round) {
        health.Failed(0, "gone");
        std::this_thread::sleep_for(SHORT);
        const auto begin = Deadline::Clock::now();
        std::atomic<bool> go{false};
        std::atomic<int> tries{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < THREADS; ++i)
            threads.emplace_back([&] {
                while (!go)
                    std::this_thread::yield();
                tries += DownReason(health).empty();
            });
        go = true;
        for (std::thread& thread : threads)
            thread.join();
        // On a machine under load the interval may be over again.
        if (Deadline::Clock::now() - begin < SHORT) {
            EXPECT_EQ(tries, 1);
            ++counted;
        }
    }
    EXPECT_GT(counted, 0);
}

} // namespace
} // namespace kwlookup
