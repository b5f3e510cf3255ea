// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "objects/TestPlugins.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int THREADS = 4;
constexpr int ROUNDS = 25;

/// Run `work` in several threads that start together.
void OnThreads(const std::function<void()>& work) {
    std::atomic<int> waiting{THREADS};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i)
        threads.emplace_back([&] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            work();
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(ObjectThreads, FillHoldersOfTheirOwnConcurrently) {
    const TempDir directory;
    const std::string file = directory.Write("list", "f\n");
    const std::string list = "a, ldap:b, odbc:x, mysql:x, absent:x, firebird:x, ldap:bad, "
                             "nested:shared:c, nosuch:x, file:" +
                             file + ", file:" + file + ".missing, shared:d";
    TakeErrors();
    // Without log lines, whose lock would hide races.
    RecordingLog::Silence();
    std::atomic<int> wrong{0};
    OnThreads([&] {
        const LogClass log("holder");
        KwLookupHolder holder(log);
        for (int round = 0; round < ROUNDS; ++round) {
            holder.Init(list);
            if (Values(holder) != std::vector<std::string>{"a", "b", "c", "f", "d"})
                ++wrong;
        }
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(TakeErrors().size(), static_cast<std::size_t>(THREADS * ROUNDS * 7));
    for (const char* type : {"ldap", "firebird", "nested", "shared"})
        EXPECT_EQ(LoadedPlugin(type).GetCounts().alive, 0) << type;
}

TEST(ObjectThreads, OpenALibraryOnlyOnce) {
    if (LoadedPlugin("latecomer"))
        GTEST_SKIP() << "opened already; run this test in a process of its own";
    TakeErrors();
    OnThreads([] {
        const LogClass log("holder");
        KwLookupHolder holder(log);
        holder.Init("latecomer:a, nosuch:x");
    });
    EXPECT_EQ(RecordingLog::Texts(log4cxx::Level::LEVEL_DEBUG),
              std::vector<std::string>{"load libkw_lookup_latecomer.so object library"});
    EXPECT_THAT(TakeErrors(),
                ::testing::Each("Error in init lookup [nosuch:x]: unknown id 'nosuch'"));
}

TEST(ObjectThreads, SearchOneHolderConcurrently) {
    const TempDir directory;
    std::string lines;
    for (int i = 0; i < 2000; ++i)
        lines += "line" + std::to_string(i * 7 % 2000) + "\n";
    const std::string file = directory.Write("list", lines);
    TakeErrors();
    RecordingLog::Silence();
    const LogClass log("holder");
    for (int round = 0; round < 5; ++round) {
        KwLookupHolder holder(log);
        holder.Init("a, file:" + file + ", ldap:line7, nested:ldap:line7\\, line8");
        ASSERT_EQ(holder.GetObjects().size(), 4U);
        std::atomic<int> wrong{0};
        OnThreads([&] {
            for (int i = 0; i < ROUNDS; ++i) {
                const int flags = i % 3 == 0 ? 0 : FIND_EXACT;
                std::string res;
                std::string matched;
                const std::string text = "line" + std::to_string(i);
                if (!holder.Find(TextFinder(text), &res, flags, &matched) || matched != text)
                    ++wrong;
                if (res != (i == 7 ? " result of line7  result of line7" : ""))
                    ++wrong;
                if (holder.Find(TextFinder("none"), &res, flags, nullptr))
                    ++wrong;
                if (!holder.Find(TextFinder("a"), nullptr, flags, nullptr))
                    ++wrong;
            }
        });
        EXPECT_EQ(wrong, 0);
    }
}

} // namespace
