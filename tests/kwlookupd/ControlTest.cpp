// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/Control.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "text/FileDescriptor.h"

#include "tools/kwlookupd/lists/ListKeeper.h"
#include "tools/kwlookupd/lists/Reloader.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <new>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <vector>

namespace {

sockaddr_un NameOf(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    EXPECT_LT(path.size(), sizeof name.sun_path);
    std::memcpy(name.sun_path, path.c_str(), std::min(path.size(), sizeof name.sun_path - 1));
    return name;
}

} // namespace

TEST(RunControlCommand, DoesNotWaitForEverForADaemonThatHangs) {
    RecordingLog::Reset();
    const TempDir dir;
    const std::string path = dir.Path("control");
    const sockaddr_un name = NameOf(path);
    const kwlookup::FileDescriptor silent(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(::bind(silent.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    ASSERT_EQ(::listen(silent.Get(), 1), 0);
    const auto expect_fault = [&](std::chrono::milliseconds limit, const std::string& fault) {
        EXPECT_EQ(kwlookup::RunControlCommand(path, "status", limit, LogClass("ctl")), 1);
        EXPECT_THAT(RecordingLog::Texts(ERROR), testing::ElementsAre(path + ": " + fault));
        RecordingLog::Reset();
    };
    expect_fault(std::chrono::milliseconds(50), "the daemon did not answer within 0.05 s");
    std::vector<kwlookup::FileDescriptor> queued; // until the queue is full
    do
        queued.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0));
    while (::connect(queued.back().Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) ==
           0);
    expect_fault(std::chrono::milliseconds(50), "the daemon did not answer within 0.05 s");
    std::thread closing([&] {
        while (kwlookup::FileDescriptor(::accept(silent.Get(), nullptr, nullptr))) {
        }
    });
    expect_fault(std::chrono::minutes(1), "the daemon closed the connection without an answer");
    ::shutdown(silent.Get(), SHUT_RDWR);
    closing.join();
}

TEST(Control, GoesOnAfterMemoryRanOut) {
    const TempDir dir;
    const LogClass log("control");
    kwlookup::ListKeeper lists({}, log, [](std::size_t, const kwlookup::ListKeeper::List&) {});
    kwlookup::Reloader reloader(
        lists, [](std::size_t, const kwlookup::ListKeeper::LoadResult&) {}, [] {});
    boost::asio::io_context context;
    kwlookup::Control control(context, dir.Path("control"), reloader, lists);
    const auto work = boost::asio::make_work_guard(context);
    const sockaddr_un name = NameOf(dir.Path("control"));
    const auto ask = [&](int tries) {
        const kwlookup::FileDescriptor client(::socket(AF_UNIX, SOCK_STREAM, 0));
        EXPECT_EQ(::connect(client.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name),
                  0);
        EXPECT_EQ(::send(client.Get(), "status\n", 7, 0), 7);
        std::array<char, 3> answer{};
        for (int i = 0; i < tries; ++i) {
            try {
                context.run_for(std::chrono::milliseconds(10));
            } catch (const std::bad_alloc&) {
                control.Wait();
            }
            const ssize_t size = ::recv(client.Get(), answer.data(), answer.size(), MSG_DONTWAIT);
            if (size >= 0)
                return std::string(answer.data(), static_cast<std::size_t>(size));
        }
        return std::string("nothing");
    };
    bool has_failed = true;
    for (int after = 0; has_failed; ++after) {
        ASSERT_LT(after, 100);
        {
            const FailingAllocation failing(after);
            ask(10); // this client may get nothing, and is cut off later
            has_failed = failing.HasFailed();
        }
        EXPECT_EQ(ask(1000), "ok\n") << after;
    }
}

TEST(Control, RestsWhileDescriptorsAreExhausted) {
    const TempDir dir;
    const LogClass log("control");
    kwlookup::ListKeeper lists({}, log, [](std::size_t, const kwlookup::ListKeeper::List&) {});
    kwlookup::Reloader reloader(
        lists, [](std::size_t, const kwlookup::ListKeeper::LoadResult&) {}, [] {});
    boost::asio::io_context context;
    const kwlookup::Control control(context, dir.Path("control"), reloader, lists);
    // UBSan needs a pipe when it first sees the type of an object. Let it see those of timers now.
    boost::asio::steady_timer timer(context, std::chrono::seconds(0));
    timer.async_wait([](const boost::system::error_code&) {});
    context.run_one();
    const kwlookup::FileDescriptor client(::socket(AF_UNIX, SOCK_STREAM, 0));
    const sockaddr_un name = NameOf(dir.Path("control"));
    ASSERT_EQ(::connect(client.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    const rlimit low = {static_cast<rlim_t>(client.Get()), old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    const std::size_t calls = context.run_for(std::chrono::milliseconds(250));
    ::setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_LE(calls, 10u);
    ASSERT_EQ(::send(client.Get(), "status\n", 7, 0), 7);
    char answer[4] = {};
    for (int i = 0; i < 200 && ::recv(client.Get(), answer, 3, MSG_DONTWAIT) != 3; ++i)
        context.run_for(std::chrono::milliseconds(50));
    EXPECT_STREQ(answer, "ok\n");
}
