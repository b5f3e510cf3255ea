// SPDX-License-Identifier: MIT
#include "families/servers/ServerPool.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace kwlookup;
using namespace std::chrono_literals;

namespace {

/// A connection that only knows its number.
class Numbered {
public:
    Numbered(const Server&, const ServerSettings&, Deadline) : number(++made) {}

    const int number;

    static std::atomic<int> made;
};

std::atomic<int> Numbered::made{0};

using Pool = ServerPool<Numbered>;

const Deadline LATE(1min);

std::shared_ptr<Pool> MakePool(std::size_t connections) {
    Numbered::made = 0;
    ServerSettings settings;
    settings.max_connections = connections;
    settings.connect_timeout = 1min;
    settings.idle_timeout = 1min;
    return std::make_shared<Pool>(Server(), std::make_shared<const ServerSettings>(settings));
}

/// The number of the connection that is used next.
int Next(Pool& pool) {
    int number = 0;
    pool.Use(LATE, [&](const Numbered& used) { number = used.number; });
    return number;
}

/// Calls `work` in a thread that runs on one processor only.
template <typename Work>
void RunOn(int processor, Work&& work) {
    std::thread([&] {
        cpu_set_t only;
        CPU_ZERO(&only);
        CPU_SET(processor, &only);
        ASSERT_EQ(::sched_setaffinity(0, sizeof(only), &only), 0);
        work();
    }).join();
}

/// The processors that this program may use.
std::vector<int> Processors() {
    cpu_set_t allowed;
    std::vector<int> numbers;
    if (::sched_getaffinity(0, sizeof(allowed), &allowed) == 0)
        for (int i = 0; i < CPU_SETSIZE; ++i)
            if (CPU_ISSET(i, &allowed))
                numbers.push_back(i);
    return numbers;
}

TEST(ServerPool, UsesTheConnectionThatTheProcessorUsedLast) {
    const std::vector<int> processors = Processors();
    ASSERT_FALSE(processors.empty());
    const int first = processors.front(), last = processors.back();
    const auto pool = MakePool(2);
    // Two connections, of which the second is given back last.
    RunOn(first, [&] {
        pool->Use(LATE, [&](const Numbered&) { RunOn(last, [&] { EXPECT_EQ(Next(*pool), 2); }); });
    });
    const int of_first = 1, of_last = first == last ? 1 : 2;
    for (int i = 0; i < 3; ++i) {
        RunOn(first, [&] { EXPECT_EQ(Next(*pool), of_first); });
        RunOn(last, [&] { EXPECT_EQ(Next(*pool), of_last); });
    }
    EXPECT_EQ(Numbered::made, 2);
}

TEST(ServerPool, TakesAnyConnectionRatherThanMakeOne) {
    const std::vector<int> processors = Processors();
    ASSERT_FALSE(processors.empty());
    const auto pool = MakePool(2);
    RunOn(processors.front(), [&] { EXPECT_EQ(Next(*pool), 1); });
    RunOn(processors.back(), [&] { EXPECT_EQ(Next(*pool), 1); });
}

TEST(ServerPool, WaitsForAConnectionUntilTheDeadline) {
    const auto pool = MakePool(1);
    pool->Use(LATE, [&](const Numbered&) {
        const Deadline soon(50ms);
        EXPECT_THROW(pool->Use(soon, [](const Numbered&) {}), Pool::Busy);
        EXPECT_TRUE(soon.IsOver());
    });
    EXPECT_EQ(Next(*pool), 1);
}

TEST(ServerPool, FailureEndsTheWaitForAConnection) {
    const auto pool = MakePool(1);
    std::atomic<bool> failed{false};
    std::thread waiting;
    pool->Use(LATE, [&](const Numbered&) {
        waiting = std::thread([&] {
            try {
                pool->Use(LATE, [](const Numbered&) {});
            } catch (const ServerFault& fault) {
                failed = std::string(fault.what()) == "gone";
            }
        });
        while (!failed) { // it may not wait yet
            pool->Fail("gone");
            std::this_thread::sleep_for(1ms);
        }
    });
    waiting.join();
}

} // namespace
