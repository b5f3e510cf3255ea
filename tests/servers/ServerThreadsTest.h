// SPDX-License-Identifier: MIT
#pragma once

#include "servers/ServerPluginTest.h"

#include <atomic>
#include <thread>
#include <vector>

/// Tests of threads, also for ThreadSanitizer, and of what a long run leaves behind.
template <typename Service>
class ServerThreadsTest : public ServerPluginTest<Service> {
protected:
    static constexpr int THREADS = 8;

    /// Calls `work(thread)` in each of a few threads, and `meanwhile()` until all are done.
    template <typename Work, typename Meanwhile>
    static void Run(Work work, Meanwhile meanwhile) {
        std::atomic<int> running{THREADS};
        std::vector<std::thread> threads;
        for (int i = 0; i < THREADS; ++i)
            threads.emplace_back([&, i] {
                work(i);
                --running;
            });
        while (running > 0)
            meanwhile();
        for (std::thread& thread : threads)
            thread.join();
    }
};

TYPED_TEST_SUITE_P(ServerThreadsTest);

TYPED_TEST_P(ServerThreadsTest, SearchesDuringReloads) {
    RecordingLog::Silence();
    const std::string list = this->List(this->Server().GetHost(), "MaxConnections=4");
    KwLookupHolder shared(this->m_log);
    shared.Init(list);
    int reloads = 0;
    this->Run(
        [&](int thread) {
            for (int round = 0; round < 10; ++round) {
                // Some threads have a list of their own, which shares the connections.
                KwLookupHolder own(this->m_log);
                if (thread % 2)
                    own.Init(list);
                for (int i = 0; i < 20; ++i)
                    EXPECT_EQ(this->FailureOf(thread % 2 ? own : shared), "found OK");
            }
        },
        [&] {
            KwObjectHolder::BeforeReload(this->m_log);
            KwObjectHolder::AfterReload(this->m_log);
            ++reloads;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        });
    EXPECT_GT(reloads, 1);
}

TYPED_TEST_P(ServerThreadsTest, ServerDiesDuringSearches) {
    RecordingLog::Silence();
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    std::atomic<int> wrong{0}, found{0};
    std::atomic<bool> stop{false};
    int deaths = 0;
    this->Run(
        [&](int) {
            while (!stop) {
                const std::string answer = this->FailureOf(holder);
                found += answer == "found OK";
                wrong += answer == "not found";
            }
        },
        [&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            this->Server().Restart();
            stop = ++deaths == 3;
        });
    EXPECT_GT(found, 0);
    EXPECT_EQ(wrong, 0);
    this->ExpectWorks(holder);
}

REGISTER_TYPED_TEST_SUITE_P(ServerThreadsTest, SearchesDuringReloads, ServerDiesDuringSearches);
