// SPDX-License-Identifier: MIT
#include "families/servers/CallThread.h"
#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

using namespace kwlookup;

namespace {

constexpr std::chrono::seconds GENEROUS{60};

TEST(CallThread, MakesCallsInOneOtherThread) {
    CallThread thread{Deadline(GENEROUS)};
    std::thread::id first, second;
    thread.Do(Deadline(GENEROUS), [&] { first = std::this_thread::get_id(); });
    thread.Do(Deadline(GENEROUS), [&] { second = std::this_thread::get_id(); });
    EXPECT_EQ(first, second);
    EXPECT_NE(first, std::this_thread::get_id());
}

TEST(CallThread, ThrowsWhatTheCallThrows) {
    CallThread thread{Deadline(GENEROUS)};
    for (int i = 0; i < 2; ++i)
        EXPECT_THROW(thread.Do(Deadline(GENEROUS), [] { throw std::out_of_range("x"); }),
                     std::out_of_range);
    bool called = false;
    thread.Do(Deadline(GENEROUS), [&called] { called = true; });
    EXPECT_TRUE(called);
}

TEST(CallThread, LeavesBehindACallThatDoesNotEnd) {
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    std::promise<void> destroyed;
    {
        CallThread thread{Deadline(GENEROUS)};
        thread.Keep(std::shared_ptr<void>(nullptr, [&](void*) { destroyed.set_value(); }));
        try {
            thread.Do(Deadline(std::chrono::milliseconds(20)), [opened] { opened.wait(); });
            ADD_FAILURE() << "it came back";
        } catch (const ServerFault& fault) {
            EXPECT_STREQ(fault.what(), "no answer in time");
        }
    }
    std::future<void> end = destroyed.get_future();
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    gate.set_value();
    end.wait();
}

TEST(CallThread, DestroysWhatItKeepsInTheThread) {
    std::promise<std::thread::id> destroyed;
    {
        CallThread thread{Deadline(GENEROUS)};
        thread.Keep(std::shared_ptr<void>(
            nullptr, [&destroyed](void*) { destroyed.set_value(std::this_thread::get_id()); }));
    }
    EXPECT_NE(destroyed.get_future().get(), std::this_thread::get_id());
}

TEST(CallThread, FewAreLeftBehind) {
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    int left = 0;
    const auto hang = [&] {
        CallThread thread{Deadline(std::chrono::milliseconds(500))};
        ++left;
        thread.Do(Deadline(std::chrono::milliseconds(1)), [opened] { opened.wait(); });
    };
    std::string reason;
    while (left < 100 && reason != "too many calls do not end") {
        try {
            hang();
        } catch (const ServerFault& fault) {
            reason = fault.what();
        }
    }
    EXPECT_EQ(left, 16);
    gate.set_value();
    // They end, and new ones can be started.
    CallThread thread{Deadline(GENEROUS)};
    thread.Do(Deadline(GENEROUS), [] {});
}

} // namespace
