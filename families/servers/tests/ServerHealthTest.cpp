// SPDX-License-Identifier: MIT
#include "families/servers/ServerHealth.h"

#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace kwlookup {
namespace {

using testing::ElementsAre;

constexpr std::chrono::milliseconds LONG(60000);
constexpr std::chrono::milliseconds SHORT(50);

/// What GetOrder() throws; empty when it does not.
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

TEST(ServerHealth, LetsOneSearchTryAfterTheInterval) {
    ServerHealth one(1, false, SHORT);
    one.Failed(0, "a: gone");
    EXPECT_EQ(DownReason(one), "a: gone");
    std::this_thread::sleep_for(SHORT);
    EXPECT_THAT(one.GetOrder(), ElementsAre(0));
    EXPECT_EQ(DownReason(one), "a: gone");

    ServerHealth two(2, false, SHORT);
    two.Failed(0, "a: gone");
    EXPECT_THAT(two.GetOrder(), ElementsAre(1, 0));
    std::this_thread::sleep_for(SHORT);
    EXPECT_THAT(two.GetOrder(), ElementsAre(0, 1));
    EXPECT_THAT(two.GetOrder(), ElementsAre(1, 0));
    two.Failed(1, "b: gone");
    two.Failed(0, "a: gone");
    std::this_thread::sleep_for(SHORT);
    EXPECT_THAT(two.GetOrder(), ElementsAre(1, 0)); // the oldest failure first
}

} // namespace
} // namespace kwlookup
