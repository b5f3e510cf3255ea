// SPDX-License-Identifier: MIT
#pragma once

#include "servers/FaultyProxy.h"
#include "servers/RedisServer.h"
#include "support/PluginSupport.h"

#include <chrono>
#include <string>
#include <thread>

namespace kwlookup {

/// The plug-in, and a server with some keys that the tests of the program share.
class RedisTest : public PluginTest {
protected:
    using Clock = std::chrono::steady_clock;

    /// How much longer than its limit a search may take.
    static constexpr std::chrono::milliseconds LATE{100};

    static RedisServer& SharedServer() {
        static RedisServer server;
        static const bool filled = [] {
            Fill(server);
            return true;
        }();
        static_cast<void>(filled);
        return server;
    }

    static void Fill(RedisServer& server) {
        server.Load({{"SET", "jdoe@corp.lan", "OK"},
                     {"SET", "empty", ""},
                     {"HSET", "blocked", "corp.lan", "spam", "other.lan", "bulk"},
                     {"SADD", "members", "jdoe@corp.lan"},
                     {"ZADD", "scores", "2.5", "jdoe@corp.lan"}});
    }

    /// A list of one item, with time limits that are long enough for a machine under load.
    static std::string Item(const std::string& hosts, const std::string& rest = "GET $s") {
        return "\"redis:OnError=exception|Timeout=60|ConnectTimeout=60|Hosts=" + hosts + "|" +
               rest + "\"";
    }

    /// The error of a search, or "".
    static std::string SearchError(const KwLookupHolder& holder,
                                   const std::string& text = "jdoe@corp.lan") {
        try {
            Ask(holder, text);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    /// Expect that a search finds "OK".
    static void ExpectFound(const KwLookupHolder& holder) {
        EXPECT_EQ(Ask(holder, "jdoe@corp.lan"), (Answer{true, " OK", "jdoe@corp.lan"}));
    }

    /// The time that a call takes.
    template <typename Call>
    static std::chrono::milliseconds TimeOf(Call&& call) {
        const auto begin = Clock::now();
        call();
        return std::chrono::ceil<std::chrono::milliseconds>(Clock::now() - begin);
    }

    /// Expect that a call takes no longer than its limit. A machine under load may delay it, but
    /// not each time.
    template <typename Call>
    static void ExpectInTime(std::chrono::milliseconds limit, Call&& call) {
        std::chrono::milliseconds time{0};
        for (int i = 0; i < 20; ++i)
            if ((time = TimeOf(call)) <= limit + LATE)
                return;
        ADD_FAILURE() << "it took " << time.count() << " ms";
    }

    /// Ask until `holds()`, for half a minute at most.
    template <typename Condition>
    static bool Eventually(Condition holds) {
        for (int i = 0; i < 3000; ++i) {
            if (holds())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
};

} // namespace kwlookup
