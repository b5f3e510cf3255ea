// SPDX-License-Identifier: MIT
#include "lookup/KwLookupHolder.h"
#include "objects/ReloadSupport.h"
#include "support/RecordingLog.h"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int ROUNDS = 200;

TEST(ReloadThreads, ReloadWhileThreadsFillHolders) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
    LogClass log("host");
    std::vector<std::string> calls;
    const auto loader = boost::make_shared<ScriptedLoader>(calls);
    // The library calls the loader under its lock, so this needs no lock.
    int running = 0;
    int overlaps = 0;
    loader->on_call = [&](const std::string& operation) {
        if (operation == "acquire" && ++running != 1)
            ++overlaps;
        if (operation == "release")
            --running;
    };
    KwObjectHolder::SetConfLoader(loader);

    std::atomic<int> made{0};
    const auto fill = [&](const std::string& list) {
        KwLookupHolder holder(log);
        for (int i = 0; i < ROUNDS; ++i) {
            holder.Init(list);
            made += static_cast<int>(holder.GetObjects().size());
        }
    };
    std::thread one(fill, "first:a, second:b, x:c");
    std::thread two(fill, "second:a, third:b, file:/nonexistent/file");
    int reported = 0;
    for (int i = 0; i < ROUNDS; ++i) {
        try {
            KwObjectHolder::BeforeReload(log);
        } catch (const std::domain_error&) {
            ++reported;
        }
    }
    one.join();
    two.join();

    EXPECT_EQ(made, 4 * ROUNDS);
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(running, 0);
    for (const char* type : {"first", "second", "third"})
        EXPECT_EQ(StateOf(type).alive, 0) << type;
    // Each error is reported exactly once, by one of the reloads or at the end.
    try {
        KwObjectHolder::AfterReload(log);
    } catch (const std::domain_error&) {
        ++reported;
    }
    int lines = 0;
    int headers = 0;
    for (const std::string& text : RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR)) {
        lines += text.compare(0, 2, "  ") == 0;
        headers += text == "last lookups/storage errors:";
    }
    EXPECT_EQ(lines, 2 * ROUNDS);
    EXPECT_EQ(headers, reported);
}

} // namespace
