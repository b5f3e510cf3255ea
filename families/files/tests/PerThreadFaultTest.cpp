// SPDX-License-Identifier: MIT
#include "families/files/PerThread.h"

#include "lookup/builtin/FailingSystem.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <thread>

using namespace kwlookup;

// After a failed lock, the next call makes the thread's object.
TEST(PerThreadFaultTest, ALockThatFailsLeavesNothingBehind) {
    const PerThread<std::string> object;
    std::thread([&] {
        for (int round = 0; round < 2; ++round) {
            const failing::Fault fault(failing::mutex_lock, EAGAIN);
            EXPECT_THROW(object.Get("lost"), std::system_error);
            EXPECT_TRUE(fault.Happened());
        }
        EXPECT_EQ(object.Get("own"), "own");
        EXPECT_EQ(object.Get("other"), "own");
    }).join();
}
