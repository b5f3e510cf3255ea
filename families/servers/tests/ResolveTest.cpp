// SPDX-License-Identifier: MIT
// The program has a resolver of its own before the system's, which hangs for some names.
#include "families/servers/Resolve.h"

#include "families/servers/ServerFault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <dlfcn.h>
#include <netdb.h>
#include <string>
#include <thread>
#include <vector>

namespace {

std::atomic<bool> g_hang{false};
std::atomic<int> g_hanging{0};

} // namespace

extern "C" int getaddrinfo(const char* host, const char* port, const addrinfo* hints,
                           addrinfo** list) {
    static const auto system =
        reinterpret_cast<decltype(&::getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    if (std::string(host) == "hang.test" && !(hints->ai_flags & AI_NUMERICHOST)) {
        ++g_hanging;
        while (g_hang)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        --g_hanging;
        host = "127.0.0.1";
    }
    return system(host, port, hints, list);
}

namespace kwlookup {
namespace {

using std::chrono::milliseconds;

Server Named(const std::string& host) {
    Server server;
    server.host = host;
    server.port = 1;
    return server;
}

/// The addresses, joined by blanks, or what is thrown.
std::string Resolved(const Server& server, milliseconds time) {
    try {
        std::string hosts;
        for (const Address& address : Resolve(server, Deadline(time)))
            hosts += (hosts.empty() ? "" : " ") + address.GetHost();
        return hosts;
    } catch (const ServerFault& fault) {
        return fault.what();
    }
}

TEST(Resolve, NeedsNoResolverForAddresses) {
    EXPECT_EQ(Resolved(Named("127.0.0.1"), milliseconds(0)), "127.0.0.1");
    EXPECT_EQ(Resolved(Named("::1"), milliseconds(0)), "::1");
    Server local;
    local.path = "/run/a.sock";
    EXPECT_EQ(Resolved(local, milliseconds(0)), "/run/a.sock");
}

TEST(Resolve, AsksForNames) {
    EXPECT_THAT(Resolved(Named("localhost"), milliseconds(10000)), testing::HasSubstr("1"));
    EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(10000)), "127.0.0.1");
}

TEST(Resolve, LeavesAResolverThatHangs) {
    constexpr int MOST = 16;
    g_hang = true;
    for (int i = 0; i < MOST; ++i) {
        const auto begin = Deadline::Clock::now();
        EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(20)), "name look-up took too long");
        EXPECT_LT(Deadline::Clock::now() - begin, milliseconds(120));
    }
    EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(10000)),
              "too many name look-ups do not end");
    EXPECT_EQ(Resolved(Named("127.0.0.1"), milliseconds(0)), "127.0.0.1");
    g_hang = false;
    for (int i = 0; i < 1000 && g_hanging > 0; ++i)
        std::this_thread::sleep_for(milliseconds(10));
    // The last thread may still be at its end.
    std::this_thread::sleep_for(milliseconds(50));
    EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(10000)), "127.0.0.1");
}

} // namespace
} // namespace kwlookup
