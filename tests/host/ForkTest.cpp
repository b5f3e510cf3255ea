// SPDX-License-Identifier: MIT
// What a child of a program with threads may do. This is a separate program with the real logging.
#include "examples/host/MailList.h"
#include "kwlog/Logging.h"
#include "lookup/builtin/KwFileLookup.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <locale>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using log4cxx::Level;

namespace {

using namespace kwlookup;

/// Forks and returns the child's status: 0 when `question` returns true, and 14 (SIGALRM) when it
/// does not return.
template <typename Question>
int StatusOfChild(Question question) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        ::_exit(question() ? 0 : 1);
    }
    int status = -1;
    return ::waitpid(child, &status, 0) == child ? status : -1;
}

/// Calls `work` repeatedly in several threads.
template <typename Work>
class Workers {
public:
    Workers(int count, Work work) {
        for (int i = 0; i < count; ++i)
            m_threads.emplace_back([this, work] {
                while (!m_stop)
                    work();
            });
    }
    ~Workers() {
        m_stop = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }

private:
    std::atomic<bool> m_stop{false};
    std::vector<std::thread> m_threads;
};

TEST(Fork, AChildOfAProgramWithThreadsSearches) {
    const std::locale old = std::locale::global(std::locale("C.UTF-8"));
    const TempDir dir;
    LogClass log("host");
    std::string lines;
    for (int i = 0; i < 1000; ++i)
        lines += "user" + std::to_string(i) + "@corp.lan\n";
    MailList list("ads.example reject, file:" + dir.Write("list", lines), log);
    list.Load();
    const auto ask = [&] {
        std::string result;
        return list.Ask("user999@corp.lan", result) && list.Ask("x@ads.example", result) &&
               result == "reject" && !list.Ask("x@other.example", result);
    };
    for (const Level::LevelEnum level : {Level::LEVEL_WARN, Level::LEVEL_DEBUG}) {
        SetLogging(LogTarget::File, level, dir.Path("log"));
        const Workers askers(3, ask);
        const Workers loader(1, [&] {
            list.Load();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
        for (int i = 0; i < 60; ++i) {
            const int status = StatusOfChild([&] {
                bool answered = ask();
                std::thread([&] { answered &= ask(); }).join();
                return answered;
            });
            ASSERT_EQ(status, 0) << "child " << i << " at level " << level;
        }
    }
    SetLogging(LogTarget::StandardError, Level::LEVEL_WARN);
    std::locale::global(old);
}

TEST(Fork, AChildSortsAListThatItsParentIsSorting) {
    const TempDir dir;
    std::string lines;
    for (int i = 0; i < 300000; ++i)
        lines += std::to_string(i * 7919L % 300007) + "@corp.lan\n";
    const std::string name = dir.Write("list", lines);
    const TextFinder finder("7919@corp.lan");
    for (int i = 0; i < 8; ++i) {
        KwFileLookup list;
        list.Init(name);
        std::atomic<bool> sorting{false};
        std::thread sorter([&] {
            sorting = true;
            EXPECT_TRUE(list.Find(finder, nullptr, FIND_EXACT, nullptr));
        });
        while (!sorting)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        const auto ask = [&] { return list.Find(finder, nullptr, FIND_EXACT, nullptr); };
        // A grandchild can search as well.
        EXPECT_EQ(StatusOfChild([&] { return ask() && StatusOfChild(ask) == 0; }), 0);
        sorter.join();
    }
}

} // namespace
