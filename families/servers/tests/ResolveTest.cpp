// SPDX-License-Identifier: MIT
#include "families/servers/Resolve.h"

#include "families/servers/ServerFault.h"
#include "support/HangingResolver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kwlookup {
namespace {

using std::chrono::milliseconds;

Server Named(const std::string& host) {
    Server server;
    server.host = host;
    server.port = 1;
    return server;
}

/// The addresses, joined by blanks, or the exception.
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
    std::optional<HangingResolver> hanging(std::in_place);
    for (int i = 0; i < MOST; ++i)
        EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(20)), "name look-up took too long");
    EXPECT_EQ(Resolved(Named("hang.test"), milliseconds(10000)),
              "too many name look-ups do not end");
    EXPECT_EQ(Resolved(Named("127.0.0.1"), milliseconds(0)), "127.0.0.1");
    hanging.reset();
    // The last thread may still be ending.
    std::string resolved;
    for (int i = 0; i < 1000 && resolved != "127.0.0.1"; ++i) {
        std::this_thread::sleep_for(milliseconds(10));
        resolved = Resolved(Named("hang.test"), milliseconds(10000));
    }
    EXPECT_EQ(resolved, "127.0.0.1");
}

} // namespace
} // namespace kwlookup
