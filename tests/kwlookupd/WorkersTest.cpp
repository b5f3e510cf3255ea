// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Workers.h"

#include "objects/TestPlugins.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/lists/Plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kwlookup::ListGeneration;
using kwlookup::Workers;
using testing::ElementsAre;

const LogClass WORKERS_LOG("lists");

/// Workers whose jobs end when the test lets them. Two lists ask servers, and "memory" does not.
class WorkersTest : public testing::Test {
protected:
    static constexpr std::size_t HANGING = 0, OTHER = 1, MEMORY = 2;

    WorkersTest() {
        kwlookup::RegisterType("waiting");
        m_lists = {MakeList("waiting:0"), MakeList("waiting:0"), MakeList("a@b.test")};
    }
    ~WorkersTest() override { Release(); }

    static std::shared_ptr<const ListGeneration> MakeList(const std::string& objects) {
        kwlookup::ListSettings settings;
        settings.name = "list";
        settings.objects = objects;
        return std::make_shared<ListGeneration>(settings, WORKERS_LOG, nullptr);
    }

    Workers::Job MakeJob(const std::vector<std::size_t>& lists, bool explain) {
        Workers::Job job;
        job.query.explain = explain;
        for (const std::size_t list : lists) {
            job.query.asks.push_back({list, "x@y.test"});
            job.lists.push_back(m_lists[list]);
        }
        job.asked = std::make_shared<std::atomic<std::size_t>>(0);
        job.deadline = std::chrono::steady_clock::now() + std::chrono::minutes(10);
        return job;
    }
    /// Adds a job that keeps its worker until Release().
    bool AddHeld(const std::vector<std::size_t>& lists, bool explain = false) {
        Workers::Job job = MakeJob(lists, explain);
        job.done = [this](const std::vector<kwlookup::Reply>&) {
            std::unique_lock<std::mutex> lock(m_lock);
            ++m_held;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_released; });
        };
        return m_workers->Add(std::move(job));
    }
    /// Adds a job that notes its number when it is done.
    bool Add(int number, const std::vector<std::size_t>& lists, bool explain = false) {
        Workers::Job job = MakeJob(lists, explain);
        job.done = [this, number](const std::vector<kwlookup::Reply>&) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_done.push_back(number);
            m_changed.notify_all();
        };
        return m_workers->Add(std::move(job));
    }
    template <typename Condition>
    void WaitFor(const Condition& holds) {
        std::unique_lock<std::mutex> lock(m_lock);
        EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::seconds(30), holds));
    }
    void WaitForHeld(std::size_t count) {
        WaitFor([&] { return m_held == count; });
    }
    std::vector<int> WaitForDone(std::size_t count) {
        WaitFor([&] { return m_done.size() >= count; });
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_done;
    }
    void Release() {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_released = true;
        m_changed.notify_all();
    }

    std::vector<std::shared_ptr<const ListGeneration>> m_lists;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::size_t m_held = 0;
    std::vector<int> m_done;
    bool m_released = false;
    std::unique_ptr<Workers> m_workers;
};

} // namespace

TEST_F(WorkersTest, AListThatHangsLeavesHalfOfThemToOthers) {
    m_workers = std::make_unique<Workers>(4);
    for (int i = 0; i < 40; ++i)
        EXPECT_TRUE(AddHeld({HANGING}));
    WaitForHeld(2);
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(Add(i, {OTHER}));
    EXPECT_EQ(WaitForDone(100).size(), 100U);
    EXPECT_EQ(m_held, 2U);
    Release();
    WaitForHeld(40);
}

TEST_F(WorkersTest, AQuestionForTwoListsWaitsForBoth) {
    m_workers = std::make_unique<Workers>(4);
    AddHeld({MEMORY, HANGING});
    AddHeld({OTHER, HANGING});
    AddHeld({OTHER, HANGING});
    WaitForHeld(2);
    EXPECT_TRUE(Add(1, {OTHER}));
    EXPECT_THAT(WaitForDone(1), ElementsAre(1));
    EXPECT_EQ(m_held, 2U);
}

TEST_F(WorkersTest, ExplanationsUseAQuarter) {
    m_workers = std::make_unique<Workers>(8);
    for (int i = 0; i < 40; ++i)
        AddHeld({MEMORY}, true);
    WaitForHeld(2);
    for (int i = 0; i < 40; ++i)
        AddHeld({HANGING});
    WaitForHeld(2 + 4);
    EXPECT_TRUE(Add(1, {OTHER}));
    EXPECT_THAT(WaitForDone(1), ElementsAre(1));
    EXPECT_EQ(m_held, 6U);
}

TEST_F(WorkersTest, OneDoesAllInOrder) {
    m_workers = std::make_unique<Workers>(1);
    AddHeld({HANGING});
    WaitForHeld(1);
    Add(1, {HANGING});
    Add(2, {OTHER});
    Add(3, {MEMORY}, true);
    Add(4, {HANGING, OTHER});
    Add(5, {HANGING});
    Release();
    EXPECT_THAT(WaitForDone(5), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(WorkersTest, JobsThatWaitAreBoundedForEachListAndForAll) {
    m_workers = std::make_unique<Workers>(4);
    for (const std::size_t list : {HANGING, OTHER}) {
        AddHeld({list});
        AddHeld({list});
    }
    WaitForHeld(4);
    const auto count = [&](const std::vector<std::size_t>& lists, bool explain) {
        int added = 0;
        while (added < 10000 && Add(0, lists, explain))
            ++added;
        return added;
    };
    EXPECT_EQ(count({HANGING}, false), 2000);
    EXPECT_EQ(count({MEMORY}, true), 1000);
    EXPECT_EQ(count({OTHER}, false), 1000); // 4000 in all
    Release();
    EXPECT_EQ(WaitForDone(4000).size(), 4000U);
}

// A worker that is free drops them, so that they take no room.
TEST_F(WorkersTest, DropsJobsOfAFullListThatAreTooLate) {
    m_workers = std::make_unique<Workers>(2);
    AddHeld({HANGING});
    WaitForHeld(1);
    for (int i = 0; i < 5000; ++i) {
        Workers::Job job = MakeJob({HANGING}, false);
        job.deadline = std::chrono::steady_clock::now();
        m_workers->Add(std::move(job));
    }
    bool added = false;
    for (int i = 0; i < 3000 && !added; ++i) {
        added = Add(1, {HANGING});
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(added);
    Release();
    EXPECT_THAT(WaitForDone(1), ElementsAre(1));
}
