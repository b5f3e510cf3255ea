// SPDX-License-Identifier: MIT
#include "families/files/tests/RewrittenFileTest.h"

#include "families/files/FileBytes.h"

#include <thread>

using namespace kwlookup;

TEST_P(RewrittenFileTest, FailsOrAnswers) {
    for (const std::uintmax_t size :
         {std::uintmax_t(0), std::uintmax_t(FileBytes::COPY_LIMIT) + 1}) {
        SCOPED_TRACE(size);
        Replace(0);
        std::filesystem::resize_file(
            m_dir.Path("table"), std::max(size, std::filesystem::file_size(m_dir.Path("table"))));
        KwLookupHolder holder(m_log);
        holder.Init(m_list);
        std::atomic<int> wrong{0};
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        threads.emplace_back([&] {
            while (!stop)
                wrong += WrongOrFailed(holder);
        });
        threads.emplace_back([&] {
            while (!stop) {
                KwLookupHolder opened(m_log);
                opened.Init(m_list);
                wrong += WrongOrFailed(opened);
            }
        });
        m_failed = 0;
        for (int round = 0; round < 20; ++round)
            Rewrite(round % VERSIONS, size);
        stop = true;
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(m_failed, 0);
    }
}
