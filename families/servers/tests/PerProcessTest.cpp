// SPDX-License-Identifier: MIT
#include "families/servers/PerProcess.h"

#include <gtest/gtest.h>

#include <memory>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kwlookup {
namespace {

/// Counts its objects.
struct Counted {
    explicit Counted(int& counter) : count(&counter) { ++counter; }
    ~Counted() { --*count; }
    int* count;
};

TEST(PerProcess, MakesOneAndFreesIt) {
    int count = 0;
    {
        PerProcess<Counted> one([&] { return std::make_shared<Counted>(count); });
        EXPECT_EQ(count, 0);
        const Counted* const first = one.Get().get();
        EXPECT_EQ(one.Get().get(), first);
        EXPECT_EQ(count, 1);
    }
    EXPECT_EQ(count, 0);
}

TEST(PerProcess, AChildHasItsOwnAndLeavesThatOfItsParent) {
    int count = 0;
    auto one =
        std::make_unique<PerProcess<Counted>>([&] { return std::make_shared<Counted>(count); });
    const Counted* const of_parent = one->Get().get();
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        bool good = one->Get().get() != of_parent && count == 2;
        one.reset();
        good &= count == 1; // the parent's object, which is not destroyed
        ::_exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(one->Get().get(), of_parent);
}

TEST(PerProcess, ThreadsGetTheSame) {
    PerProcess<int> one([] { return std::make_shared<int>(1); });
    std::vector<const int*> got(8);
    std::vector<std::thread> threads;
    for (const int*& place : got)
        threads.emplace_back([&] { place = one.Get().get(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const int* place : got)
        EXPECT_EQ(place, one.Get().get());
}

} // namespace
} // namespace kwlookup
