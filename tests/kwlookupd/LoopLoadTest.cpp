// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/LoopLoad.h"

#include <gtest/gtest.h>

namespace kwlookup {
namespace {

using std::chrono::milliseconds;

class LoopLoadTest : public testing::Test {
protected:
    /// The loop works for some milliseconds, and then waits for some.
    void Work(int works, int waits) {
        m_now += milliseconds(works);
        m_load.EndShort(m_now);
        m_load.EndLong(m_now);
        m_load.BeginWait(m_now);
        m_now += milliseconds(waits);
        m_load.EndWait(m_now);
    }

    LoopLoad m_load;
    LoopLoad::Time m_now = std::chrono::steady_clock::now();
};

TEST_F(LoopLoadTest, IsTheShareOfTheTimeWithoutWaits) {
    EXPECT_EQ(m_load.GetBusyNow(m_now), 0);
    for (int i = 0; i < 300; ++i)
        Work(1, 3);
    EXPECT_NEAR(m_load.GetBusyNow(m_now), 25, 5);
    EXPECT_NEAR(m_load.GetBusyForLong(m_now), 25, 1);
    for (int i = 0; i < 10; ++i)
        Work(4, 0);
    EXPECT_EQ(m_load.GetBusyNow(m_now), 100);
    EXPECT_NEAR(m_load.GetBusyForLong(m_now), 25, 1);
}

TEST_F(LoopLoadTest, EndsWithALongWait) {
    Work(100, 0);
    Work(0, 0);
    m_load.BeginWait(m_now);
    EXPECT_NEAR(m_load.GetBusyNow(m_now + milliseconds(10)), 100, 1);
    EXPECT_EQ(m_load.GetBusyNow(m_now + milliseconds(21)), 0);
}

TEST_F(LoopLoadTest, RisesWhileTheLoopDoesNotComeBack) {
    Work(0, 100);
    Work(0, 0);
    EXPECT_EQ(m_load.GetBusyNow(m_now + milliseconds(10)), 0);
    EXPECT_EQ(m_load.GetBusyNow(m_now + milliseconds(21)), 100);
    EXPECT_EQ(m_load.GetBusyForLong(m_now + milliseconds(21)), 0);
    EXPECT_EQ(m_load.GetBusyForLong(m_now + milliseconds(201)), 100);
}

} // namespace
} // namespace kwlookup
