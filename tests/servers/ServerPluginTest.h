// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"
#include "support/PluginSupport.h"

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>

#if defined(__clang__)
// How GoogleTest's macro for typed suites is called without names.
#pragma clang diagnostic ignored "-Wgnu-zero-variadic-macro-arguments"
#endif

/// A server, and lists that ask it. The suites ServerFaultsTest, ServerTlsTest and
/// ServerThreadsTest are what every type does alike.
///
/// A program instantiates a suite with a `Service`: `GetServer()`, the server, which lives as
/// long as the program; `GetType()`; `GetLogin()`, the settings that log in, with the password
/// "secret of the test"; and `GetQuery()`, under which "jdoe@corp.lan" has the result "OK", and
/// "nobody@corp.lan" is not found.
template <typename Service>
class ServerPluginTest : public PluginTest {
protected:
    using Milliseconds = std::chrono::milliseconds;

    static constexpr const char* FOUND = "jdoe@corp.lan";
    static constexpr const char* MISSED = "nobody@corp.lan";
    /// A limit that searches reach, and as a setting.
    static constexpr Milliseconds LIMIT{1000};
    static constexpr const char* LIMITED = "Timeout=1";
    /// What a search may take longer than its limit.
    static constexpr Milliseconds GRACE{100};

    static Service& Get() {
        static Service service;
        return service;
    }

    static kwlookup::TestServer& Server() { return Get().GetServer(); }

    /// A list of one item, which asks the server at `hosts`. A failure is no reason not to ask
    /// again, and a loaded machine none to give up.
    static std::string List(const std::string& hosts, const std::string& settings = "") {
        return ListOf(Get().GetQuery(), hosts, settings);
    }

    static std::string ListOf(const std::string& query, const std::string& hosts,
                              const std::string& settings = "") {
        return "\"" + Get().GetType() +
               ":OnError=exception|Timeout=60|ConnectTimeout=60|RetryInterval=0|Hosts=" + hosts +
               "|" + Get().GetLogin() + "|" + settings + (settings.empty() ? "" : "|") + query +
               "\"";
    }

    static void ExpectWorks(const KwLookupHolder& holder) {
        EXPECT_EQ(Ask(holder, FOUND), (Answer{true, " OK", FOUND}));
        EXPECT_EQ(Ask(holder, MISSED), Miss());
    }

    void ExpectWorks(const std::string& list) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        ExpectWorks(holder);
    }

    static std::string FailureOf(const KwLookupHolder& holder, const std::string& text = FOUND) {
        try {
            const Answer answer = Ask(holder, text);
            return answer.found ? "found" + answer.res : "not found";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    std::string FailureOf(const std::string& list) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        return FailureOf(holder);
    }

    /// The same, without the server's name before it.
    std::string ReasonOf(const std::string& list, const std::string& text = FOUND) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        const std::string failure = FailureOf(holder, text);
        const std::string name = Server().GetHost() + ": ";
        return failure.compare(0, name.size(), name) == 0 ? failure.substr(name.size())
                                                          : "without name: " + failure;
    }

    template <typename Work>
    static Milliseconds TimeOf(Work&& work) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin);
    }

    /// A search fails, and not after its limit. A machine with other work may delay it, but not
    /// each time.
    static void ExpectFailsInTime(const KwLookupHolder& holder, const std::string& reason) {
        Milliseconds time{0};
        for (int i = 0; i < 20; ++i) {
            std::string failure;
            time = TimeOf([&] { failure = FailureOf(holder); });
            EXPECT_THAT(failure, testing::HasSubstr(reason));
            if (time <= LIMIT + GRACE)
                return;
        }
        ADD_FAILURE() << "it took " << time.count() << " ms";
    }

    /// A search works once the machine lets it keep within its limit.
    static void ExpectWorksInTime(const KwLookupHolder& holder) {
        std::string answer;
        for (int i = 0; i < 60 && answer != "found OK"; ++i) {
            answer = FailureOf(holder);
            ASSERT_NE(answer, "not found");
        }
        EXPECT_EQ(answer, "found OK");
    }

    static std::ptrdiff_t OpenFiles() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
};
