// SPDX-License-Identifier: MIT
#include "kwlog/Logging.h"

#include "support/CapturedStandardError.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using log4cxx::Level;

namespace {

using namespace kwlookup;

constexpr int THREADS = 4;
constexpr int LINES = 500;

/// Returns the long text of one event. It consists of one letter, a different one for each thread.
std::string EventText(int thread, int line) {
    return std::to_string(line) + ' ' + std::string(300, static_cast<char>('a' + thread));
}

/// Every thread writes its lines through a shared logger and through its own copy of it.
template <typename Beside>
void WriteFromThreads(const LogClass& shared, Beside beside) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&shared, thread] {
            const LogClass copy(shared);
            for (int line = 0; line < LINES; ++line)
                (line % 2 ? shared : copy)
                    .forcedLog(Level::LEVEL_ERROR, EventText(thread, line).c_str());
        });
    beside();
    for (std::thread& thread : threads)
        thread.join();
}

std::multiset<std::string> Lines(const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream in(text);
    // A line with a date counts like the others.
    const std::string mark = "shared: error: ";
    for (std::string line; std::getline(in, line);) {
        const std::size_t at = line.find(mark);
        lines.insert(at == std::string::npos ? line : line.substr(at + mark.size()));
    }
    return lines;
}

std::multiset<std::string> AllEvents() {
    std::multiset<std::string> events;
    for (int thread = 0; thread < THREADS; ++thread)
        for (int line = 0; line < LINES; ++line)
            events.insert(EventText(thread, line));
    return events;
}

TEST(LoggingThreads, LinesNeverInterleave) {
    SetLogging(LogTarget::StandardError, Level::LEVEL_WARN);
    const LogClass shared("shared");
    const CapturedStandardError captured;
    WriteFromThreads(shared, [] {});
    EXPECT_EQ(Lines(captured.GetText()), AllEvents());
}

TEST(LoggingThreads, ChangingTheTargetLosesNothing) {
    const TempDir dir;
    const LogClass shared("shared");
    std::string text;
    {
        const CapturedStandardError captured;
        WriteFromThreads(shared, [&] {
            for (int change = 0; change < 50; ++change) {
                SetLogging(LogTarget::File, Level::LEVEL_DEBUG,
                           dir.Path("log" + std::to_string(change % 2)));
                SetLogging(LogTarget::StandardError, Level::LEVEL_ERROR);
                EXPECT_TRUE(shared.isErrorEnabled());
            }
        });
        text = captured.GetText();
    }
    for (const char* name : {"log0", "log1"}) {
        std::ifstream file(dir.Path(name));
        text.append(std::istreambuf_iterator<char>(file), {});
    }
    EXPECT_EQ(Lines(text), AllEvents());
    SetLogging(LogTarget::StandardError, Level::LEVEL_WARN);
}

} // namespace
