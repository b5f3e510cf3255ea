// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"
#include "support/PluginSupport.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>

#if defined(__clang__)
// GoogleTest's macro for typed suites, used without names, leaves its variadic argument empty.
#pragma clang diagnostic ignored "-Wgnu-zero-variadic-macro-arguments"
#endif

/// A server, and lists that ask it. The suites ServerFaultsTest, ServerTlsTest and
/// ServerThreadsTest test what all types have in common.
///
/// A program instantiates a suite with a `Service`, which has
///   - `GetServer()`, the server, which exists as long as the program;
///   - `GetType()`;
///   - `GetLogin()`, the settings for the login, with the password "secret of the test";
///   - `GetQuery()`, which finds "jdoe@corp.lan" with the result "OK" and does not find
///     "nobody@corp.lan".
template <typename Service>
class ServerPluginTest : public PluginTest {
protected:
    using Milliseconds = std::chrono::milliseconds;

    static constexpr const char* FOUND = "jdoe@corp.lan";
    static constexpr const char* MISSED = "nobody@corp.lan";
    /// A time limit that searches reach, and its setting.
    static constexpr Milliseconds LIMIT{1000};
    static constexpr const char* LIMITED = "Timeout=1";
    /// How much longer than its limit a search may take.
    static constexpr Milliseconds GRACE{100};

    static Service& Get() {
        static Service service;
        return service;
    }

    static kwlookup::TestServer& Server() { return Get().GetServer(); }

    /// A list of one item, which asks the server at `hosts`. It tries a failed server again at
    /// once, and its time limits are long enough for a machine under load.
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

    /// The same without the server's name.
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

    /// Expect that a search fails within its limit. A machine under load may delay it, but not each
    /// time.
    static void ExpectFailsInTime(const KwLookupHolder& holder, const std::string& reason) {
        ExpectInTime([&] { return FailureOf(holder); }, reason);
    }

    /// The same for anything that returns a reason. `prepare` is not measured.
    template <typename Work>
    static void ExpectInTime(
        Work&& work, const std::string& reason, const std::function<void()>& prepare = [] {}) {
        Milliseconds time{0};
        for (int i = 0; i < 20; ++i) {
            std::string failure;
            prepare();
            time = TimeOf([&] { failure = work(); });
            EXPECT_THAT(failure, testing::HasSubstr(reason));
            if (time <= LIMIT + GRACE)
                return;
        }
        ADD_FAILURE() << "it took " << time.count() << " ms";
    }

    /// Expect that a search succeeds. On a machine under load it may need several attempts.
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
