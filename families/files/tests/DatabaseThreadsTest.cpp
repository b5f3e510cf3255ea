// SPDX-License-Identifier: MIT
#include "families/files/tests/DatabaseThreadsTest.h"

#include <atomic>
#include <thread>

TEST_P(DatabaseThreadsTest, FilesAreReplacedDuringSearches) {
    KwLookupHolder holder(m_log);
    holder.Init(m_list);
    const auto before = OpenFiles();
    std::atomic<int> wrong{0}, running{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        ++running;
        threads.emplace_back([&] {
            try {
                std::set<std::string> versions;
                while (versions.size() < 2)
                    wrong += Wrong(holder, versions);
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
            --running;
        });
    }
    // Short-lived threads.
    threads.emplace_back([&] {
        while (running > 0)
            std::thread([&] {
                try {
                    std::set<std::string> versions;
                    wrong += Wrong(holder, versions);
                } catch (const std::exception& error) {
                    ADD_FAILURE() << error.what();
                }
            }).join();
    });
    for (int version = 1; running > 0; version = (version + 1) % VERSIONS) {
        Replace(version);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    // The threads closed their files when they ended.
    EXPECT_EQ(OpenFiles(), before);
}

TEST_P(DatabaseThreadsTest, ThreadsMakeAndDestroyLists) {
    const auto before = OpenFiles();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                KwLookupHolder holder(m_log);
                holder.Init(m_list);
                std::set<std::string> versions;
                wrong += Wrong(holder, versions);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(OpenFiles(), before);
}
