// SPDX-License-Identifier: MIT
#include "families/files/PerThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace kwlookup;

namespace {

std::atomic<int> alive{0};

struct Counted {
    explicit Counted(int made_with = 0) : value(made_with) {
        if (value < 0)
            throw std::runtime_error("no");
        ++alive;
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --alive; }

    int value;
};

class PerThreadTest : public testing::Test {
protected:
    PerThreadTest() { alive = 0; }
    ~PerThreadTest() override { EXPECT_EQ(alive, 0); }
};

TEST_F(PerThreadTest, EachThreadHasOneOfEach) {
    const PerThread<Counted> first, second;
    Counted& mine = first.Get(1);
    EXPECT_EQ(&first.Get(2), &mine);
    EXPECT_EQ(mine.value, 1);
    EXPECT_NE(&second.Get(3), &mine);
    std::thread([&] {
        EXPECT_NE(&first.Get(4), &mine);
        EXPECT_EQ(first.Get(5).value, 4);
        EXPECT_EQ(alive, 3);
    }).join();
    EXPECT_EQ(alive, 2);
    EXPECT_EQ(first.Get(6).value, 1);
}

TEST_F(PerThreadTest, ValuesAreDestroyedWithTheObject) {
    std::optional<PerThread<Counted>> object;
    object.emplace();
    object->Get(1);
    std::promise<void> got, gone;
    std::thread thread([&] {
        object->Get(2);
        got.set_value();
        gone.get_future().wait();
        EXPECT_EQ(alive, 0);
        // Another object, perhaps at the same address.
        EXPECT_EQ(object->Get(3).value, 3);
    });
    got.get_future().wait();
    EXPECT_EQ(alive, 2);
    object.reset();
    EXPECT_EQ(alive, 0);
    object.emplace();
    gone.set_value();
    thread.join();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(object->Get(4).value, 4);
    object.reset();
}

TEST_F(PerThreadTest, AFailedConstructionIsRepeated) {
    const PerThread<Counted> object;
    EXPECT_THROW(object.Get(-1), std::runtime_error);
    EXPECT_EQ(object.Get(7).value, 7);
}

TEST_F(PerThreadTest, ManyObjectsComeAndGo) {
    const PerThread<Counted> kept;
    kept.Get(1);
    for (int i = 0; i < 1000; ++i) {
        const PerThread<Counted> object;
        EXPECT_EQ(object.Get(i).value, i);
    }
    EXPECT_EQ(kept.Get(2).value, 1);
    std::vector<std::unique_ptr<PerThread<Counted>>> objects;
    for (int i = 0; i < 100; ++i) {
        objects.push_back(std::make_unique<PerThread<Counted>>());
        objects.back()->Get(i);
    }
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(objects[static_cast<std::size_t>(i)]->Get(-2).value, i);
}

TEST_F(PerThreadTest, ThreadsEndWhileObjectsDo) {
    for (int round = 0; round < 100; ++round) {
        auto object = std::make_unique<const PerThread<Counted>>();
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                object->Get(1);
                ++ready;
            });
        while (ready < 3)
            std::this_thread::yield();
        object.reset();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(alive, 0);
    }
}

} // namespace
