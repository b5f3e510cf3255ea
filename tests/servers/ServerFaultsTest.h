// SPDX-License-Identifier: MIT
#pragma once

#include "kwlog/Logging.h"
#include "servers/FaultyProxy.h"
#include "servers/ServerPluginTest.h"
#include "servers/SilentListener.h"
#include "support/HangingResolver.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

/// Tests of faults between a search and its server.
template <typename Service>
class ServerFaultsTest : public ServerPluginTest<Service> {
protected:
    using Fault = kwlookup::FaultyProxy::Fault;

    /// The number of searches in the long run: fewer where each takes longer, unless the
    /// environment sets their number.
    int GetRounds() const {
        if (const char* const wanted = std::getenv("KWLOOKUP_SEARCHES"))
            return std::atoi(wanted);
#if defined(KWLOOKUP_UNDER_ASAN)
        return 10000 / this->Get().GetShare();
#else
        return 100000 / this->Get().GetShare();
#endif
    }
};

TYPED_TEST_SUITE_P(ServerFaultsTest);

TYPED_TEST_P(ServerFaultsTest, AnswersByPortAndBySocket) {
    this->ExpectWorks(this->List(this->Server().GetHost()));
    if (this->Get().HasSocket())
        this->ExpectWorks(this->List(this->Server().GetUnixHost()));
    const std::string port = std::to_string(this->Server().GetPort());
    this->ExpectWorks(this->List("localhost:" + port));
    EXPECT_THAT(this->TakeErrors(), testing::IsEmpty());
}

TYPED_TEST_P(ServerFaultsTest, ResolverThatHangsFailsSearchesInTime) {
    const std::string host = "hang.test:" + std::to_string(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(host, this->LIMITED));
    {
        const HangingResolver hanging;
        this->ExpectFailsInTime(holder, this->Get().GetHangingLookup());
    }
    this->ExpectWorksInTime(holder);
}

TYPED_TEST_P(ServerFaultsTest, NameIsLookedUpForEachConnection) {
    constexpr const char* HERE = "127.0.0.1";
    constexpr const char* NOBODY = "127.0.0.2";
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List("hang.test:" + std::to_string(this->Server().GetPort())));
    HangingResolver::MoveTo(NOBODY);
    EXPECT_THAT(this->FailureOf(holder), testing::HasSubstr(this->Get().GetRefusal()));
    HangingResolver::MoveTo(HERE);
    this->ExpectWorks(holder);
    HangingResolver::MoveTo(NOBODY);
    this->Server().Restart();
    EXPECT_THAT(this->FailureOf(holder), testing::HasSubstr(this->Get().GetRefusal()));
    HangingResolver::MoveTo(HERE);
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, ServerMayBeDownWhenTheListIsLoaded) {
    this->Server().Kill();
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    EXPECT_EQ(holder.GetObjects().size(), 1u);
    EXPECT_THAT(this->FailureOf(holder), testing::HasSubstr(this->Get().GetRefusal()));
    this->Server().Restart();
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, AnotherServerAnswersInItsPlace) {
    kwlookup::FaultyProxy dead(this->Server().GetPort());
    dead.SetFault(TestFixture::Fault::Close);
    this->ExpectWorks(this->List(dead.GetHost() + ", " + this->Server().GetHost()));
    EXPECT_GE(dead.GetAcceptedCount(), 1);
}

TYPED_TEST_P(ServerFaultsTest, AKeptConnectionThatHangsFailsOneSearchOnly) {
    kwlookup::FaultyProxy first(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    int lists = 0;
    const auto connect = [&] {
        first.SetFault(TestFixture::Fault::None);
        do // each list with connections of its own
            holder.Init(this->List(first.GetHost() + ", " + this->Server().GetHost(),
                                   this->LIMITED +
                                       std::string("|RetryInterval=1h|MaxConnections=") +
                                       std::to_string(++lists)));
        while (this->FailureOf(holder) != "found OK");
        first.SetFault(TestFixture::Fault::Hang);
    };
    this->ExpectInTime([&] { return this->FailureOf(holder); },
                       first.GetHost() + ": no answer in time", connect);
    const int accepted = first.GetAcceptedCount();
    this->ExpectWorksInTime(holder);
    EXPECT_EQ(first.GetAcceptedCount(), accepted);
}

TYPED_TEST_P(ServerFaultsTest, ConnectTimeoutLeavesTimeForAnotherServer) {
    const std::string limited = "Timeout=60|ConnectTimeout=1";
    kwlookup::FaultyProxy hanging(this->Server().GetPort());
    hanging.SetFault(TestFixture::Fault::Hang);
    const kwlookup::SilentListener dropping;
    for (const std::string& host : {hanging.GetHost(), dropping.GetHost()}) {
        SCOPED_TRACE(host);
        KwLookupHolder alone(this->m_log);
        alone.Init(this->List(host, limited));
        this->ExpectFailsInTime(alone, host + ": ");
        KwLookupHolder two(this->m_log);
        two.Init(this->List(host + ", " + this->Server().GetHost(), limited));
        const auto time = this->TimeOf([&] { this->ExpectWorksInTime(two); });
        EXPECT_GE(time, this->LIMIT / 2);
        EXPECT_LT(time, std::chrono::seconds(45)) << "it waited for Timeout";
    }
}

TYPED_TEST_P(ServerFaultsTest, ServersThatAreDownAreLeftAlone) {
    kwlookup::FaultyProxy first(this->Server().GetPort());
    kwlookup::FaultyProxy second(this->Server().GetPort());
    first.SetFault(TestFixture::Fault::Close);
    second.SetFault(TestFixture::Fault::Close);
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(first.GetHost() + ", " + second.GetHost(), "RetryInterval=1h"));
    const std::string reason = this->FailureOf(holder);
    EXPECT_THAT(reason, testing::AllOf(testing::HasSubstr(first.GetHost() + ": "),
                                       testing::HasSubstr(second.GetHost() + ": ")));
    const int accepted = first.GetAcceptedCount() + second.GetAcceptedCount();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(this->FailureOf(holder), reason);
    EXPECT_EQ(first.GetAcceptedCount() + second.GetAcceptedCount(), accepted);
}

TYPED_TEST_P(ServerFaultsTest, RestartCostsNoSearch) {
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    this->ExpectWorks(holder);
    this->Server().Restart();
    this->ExpectWorks(holder);
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    holder.Init(this->List(proxy.GetHost()));
    this->ExpectWorks(holder);
    proxy.Disconnect();
    this->ExpectWorks(holder);
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
}

TYPED_TEST_P(ServerFaultsTest, ServerDiesWhileItIsAsked) {
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    this->ExpectWorks(holder);
    this->Server().Stop();
    std::string failure;
    std::thread search([&] { failure = this->FailureOf(holder); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto time = this->TimeOf([&] {
        this->Server().Kill();
        search.join();
    });
    EXPECT_LT(time, std::chrono::seconds(45)) << "it waited for the limit";
    EXPECT_THAT(failure, testing::StartsWith(this->Server().GetHost() + ": "));
    this->Server().Restart();
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, StoppedServerFailsSearchesInTime) {
    KwLookupHolder kept(this->m_log);
    kept.Init(this->List(this->Server().GetHost(), this->LIMITED));
    this->ExpectWorksInTime(kept);
    KwLookupHolder fresh(this->m_log);
    fresh.Init(
        this->List(this->Server().GetHost(), this->LIMITED + std::string("|MaxConnections=2")));
    this->Server().Stop();
    this->ExpectFailsInTime(kept, "no answer in time");
    this->ExpectFailsInTime(fresh, "no answer in time");
    this->Server().Continue();
    this->ExpectWorksInTime(kept);
    this->ExpectWorksInTime(fresh);
}

TYPED_TEST_P(ServerFaultsTest, AnswerThatStopsSomewhereFailsSearchesInTime) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost()));
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    holder.Init(this->List(proxy.GetHost(), this->LIMITED));
    for (const std::size_t bytes : {std::size_t(0), std::size_t(1), length / 2, length - 1}) {
        SCOPED_TRACE(bytes);
        proxy.SetFault(TestFixture::Fault::Hang, bytes);
        proxy.Disconnect();
        this->ExpectFailsInTime(holder, "no answer in time");
    }
    proxy.SetFault(TestFixture::Fault::None);
    this->ExpectWorksInTime(holder);
}

TYPED_TEST_P(ServerFaultsTest, AnswerCutAfterAnyByteIsAFault) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost()));
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t answer = proxy.GetForwardedBytes() - length;
    ASSERT_GT(answer, 0u);
    ASSERT_LE(answer, length);
    const bool all = std::getenv("KWLOOKUP_EVERY_BYTE");
    const auto share = static_cast<std::size_t>(this->Get().GetShare());
    for (const auto fault : {TestFixture::Fault::Close, TestFixture::Fault::Reset})
        // A login has many more bytes than an answer, and most of them are alike.
        for (std::size_t bytes = 0; bytes < length;
             bytes += all ? 1 : share * (bytes < length - answer ? 7 : 1)) {
            proxy.SetFault(fault, bytes);
            proxy.Disconnect();
            std::string failure;
            const auto time = this->TimeOf([&] { failure = this->FailureOf(holder); });
            EXPECT_THAT(failure, testing::StartsWith(proxy.GetHost() + ": ")) << bytes;
            EXPECT_LT(time, std::chrono::seconds(45)) << bytes << ": it waited for the limit";
        }
    proxy.SetFault(TestFixture::Fault::None);
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, GarbageIsNeverAMiss) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost()));
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    // Garbage may announce more bytes, so that the search waits until its time is over.
    holder.Init(this->List(proxy.GetHost(), this->LIMITED));
    for (std::size_t bytes = 0; bytes < length; bytes += 1 + length / 10) {
        proxy.SetFault(TestFixture::Fault::Scramble, bytes);
        proxy.Disconnect();
        std::string failure;
        const auto time = this->TimeOf([&] { failure = this->FailureOf(holder); });
        EXPECT_NE(failure, "not found") << bytes;
        EXPECT_LT(time, TestFixture::LIMIT + std::chrono::seconds(30)) << bytes;
    }
    proxy.SetFault(TestFixture::Fault::None);
    this->ExpectWorksInTime(holder);
}

TYPED_TEST_P(ServerFaultsTest, WrongPasswordIsAFaultThatShowsNoSecret) {
    std::string login = this->Get().GetLogin();
    const std::string good = "secret of the test";
    const std::string bad = "wrong secret";
    ASSERT_NE(login.find(good), std::string::npos);
    login.replace(login.find(good), good.size(), bad);
    const std::string item = this->Get().GetType() +
                             ":OnError=exception|Hosts=" + this->Server().GetHost() + "|" + login +
                             "|" + this->Get().GetQuery();
    RecordingLog::Reset();
    const std::string failure = this->FailureOf("\"" + item + "\"");
    EXPECT_THAT(failure, testing::StartsWith(this->Server().GetHost() + ": "));
    EXPECT_THAT(failure, testing::Not(testing::HasSubstr(bad)));
    KwLookupHolder holder(this->m_log);
    holder.Init("\"" + item + " or so\"");
    holder.Init("\"" + this->Get().GetType() + ":Hosts=[|" + login + "|" + this->Get().GetQuery() +
                "\"");
    for (const RecordingLog::Line& line : RecordingLog::GetLines())
        EXPECT_THAT(kwlookup::WithoutSecrets(line.text), testing::Not(testing::HasSubstr(bad)));
}

TYPED_TEST_P(ServerFaultsTest, ChildAfterForkConnectsItself) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost()));
    this->ExpectWorks(holder);
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string answer = this->FailureOf(holder);
        if (answer == "found OK")
            ::_exit(0);
        std::fprintf(stderr, "in the child: %s\n", answer.c_str());
        ::_exit(1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
    this->ExpectWorks(holder);
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
}

TYPED_TEST_P(ServerFaultsTest, LongRunLeavesNothingBehind) {
    RecordingLog::Silence();
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    // Some may fail, because servers start slowly on a machine under load, but not most of them.
    const auto search = [&](int rounds) {
        int found = 0;
        for (int i = 0; i < rounds || found < rounds / 10; ++i) {
            const std::string answer = this->FailureOf(holder);
            found += answer == "found OK";
            EXPECT_NE(answer, "not found");
        }
    };
    std::atomic<bool> done{false};
    std::mutex restarting; // a restart uses memory and descriptors itself
    std::thread searches([&] {
        const int rounds = this->GetRounds();
        search(rounds / 10);
        std::unique_lock<std::mutex> quiet(restarting);
        const std::size_t heap = ::mallinfo2().uordblks;
        const auto files = this->OpenFiles();
        quiet.unlock();
        search(rounds);
        quiet.lock();
        EXPECT_LT(::mallinfo2().uordblks, heap + 65536);
        EXPECT_LE(this->OpenFiles(), files + 1) << "a connection";
        done = true;
    });
    while (!done) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const std::lock_guard<std::mutex> lock(restarting);
        if (!done)
            this->Server().Restart();
    }
    searches.join();
    this->ExpectWorks(holder);
}

REGISTER_TYPED_TEST_SUITE_P(ServerFaultsTest, AnswersByPortAndBySocket,
                            ResolverThatHangsFailsSearchesInTime, NameIsLookedUpForEachConnection,
                            ServerMayBeDownWhenTheListIsLoaded, AnotherServerAnswersInItsPlace,
                            AKeptConnectionThatHangsFailsOneSearchOnly,
                            ConnectTimeoutLeavesTimeForAnotherServer,
                            ServersThatAreDownAreLeftAlone, RestartCostsNoSearch,
                            ServerDiesWhileItIsAsked, StoppedServerFailsSearchesInTime,
                            AnswerThatStopsSomewhereFailsSearchesInTime,
                            AnswerCutAfterAnyByteIsAFault, GarbageIsNeverAMiss,
                            WrongPasswordIsAFaultThatShowsNoSecret, LongRunLeavesNothingBehind,
                            ChildAfterForkConnectsItself);
