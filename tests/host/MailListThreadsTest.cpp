// SPDX-License-Identifier: MIT
// The list of the example host.
#include "examples/host/MailList.h"

#include "support/RecordingLog.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(MailListThreads, AnswersWhileItIsLoaded) {
    const TempDir dir;
    RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
    LogClass log("host");
    MailList list("file:" + dir.Write("list", "corp.lan 0\n"), log);
    list.Load();
    std::atomic<bool> stop{false};
    std::atomic<int> asked{0}, wrong{0}, loaded{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            std::string result;
            for (int last = 0; !stop; ++asked) {
                const bool found = list.Ask("x@corp.lan", result);
                const int version = found ? std::stoi(result) : -1;
                // The list is never older than the last one, and never one that is not in use yet.
                if (version < last || version > loaded + 1)
                    ++wrong;
                last = version;
            }
        });
    for (int version = 1; version <= 40; ++version) {
        dir.Write("list", "corp.lan " + std::to_string(version) + "\n");
        list.Load();
        loaded = version;
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(asked, 0);
    EXPECT_EQ(wrong, 0);
    std::string result;
    EXPECT_TRUE(list.Ask("x@corp.lan", result));
    EXPECT_EQ(result, "40");
}

} // namespace
