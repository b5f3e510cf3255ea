// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/EventLoop.h"

#include "tools/kwlookupd/net/Workers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

// Another loop may give it connections until the moment that it stops.
TEST(EventLoopTest, ServesConnectionsThatItGotBeforeItStopped) {
    kwlookup::DoorConfig config;
    config.name = "maps";
    config.protocol = "socketmap";
    const std::unique_ptr<kwlookup::Door> door = kwlookup::MakeDoor(config);
    const kwlookup::ServerSettings settings;
    kwlookup::Workers workers(1);
    int closed = 0;
    kwlookup::EventLoop loop(settings, 0, nullptr, workers, [&](std::size_t) { ++closed; });
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    const kwlookup::FileDescriptor client(ends[0]);
    ASSERT_EQ(::write(client.Get(), "8:none key,", 11), 11);
    ASSERT_EQ(::shutdown(client.Get(), SHUT_WR), 0);
    // The loop takes the first two tasks at once, so the third comes while it does them.
    loop.Post([&] {
        loop.Post([&] { loop.Add(kwlookup::FileDescriptor(ends[1]), 0, door->NewSession()); });
    });
    loop.Post([&] { loop.Stop(std::chrono::seconds(30)); });
    loop.Run();
    char answer[100];
    const ssize_t size = ::read(client.Get(), answer, sizeof answer);
    ASSERT_GE(size, 0) << "there is no answer";
    EXPECT_EQ(std::string(answer, static_cast<std::size_t>(size)), "17:PERM unknown list,");
    EXPECT_EQ(closed, 1);
}
