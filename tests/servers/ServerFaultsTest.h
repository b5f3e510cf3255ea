// SPDX-License-Identifier: MIT
#pragma once

#include "kwlog/Logging.h"
#include "servers/FaultyProxy.h"
#include "servers/ServerPluginTest.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

/// What goes wrong between a search and its server.
template <typename Service>
class ServerFaultsTest : public ServerPluginTest<Service> {
protected:
    using Fault = kwlookup::FaultyProxy::Fault;

    /// Searches of the long run; a tenth of them, where each takes longer.
#if defined(KWLOOKUP_UNDER_ASAN)
    static constexpr int ROUNDS = 10000;
#else
    static constexpr int ROUNDS = 100000;
#endif
};

TYPED_TEST_SUITE_P(ServerFaultsTest);

TYPED_TEST_P(ServerFaultsTest, AnswersByPortAndBySocket) {
    this->ExpectWorks(this->List(this->Server().GetHost()));
    this->ExpectWorks(this->List(this->Server().GetUnixHost()));
    const std::string port = std::to_string(this->Server().GetPort());
    this->ExpectWorks(this->List("localhost:" + port));
    EXPECT_THAT(this->TakeErrors(), testing::IsEmpty());
}

TYPED_TEST_P(ServerFaultsTest, ServerMayBeDownWhenTheListIsLoaded) {
    this->Server().Kill();
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(this->Server().GetHost()));
    EXPECT_EQ(holder.GetObjects().size(), 1u);
    EXPECT_THAT(this->FailureOf(holder), testing::HasSubstr("Connection refused"));
    this->Server().Restart();
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, AnotherServerAnswersInItsPlace) {
    kwlookup::FaultyProxy dead(this->Server().GetPort());
    dead.SetFault(TestFixture::Fault::Close);
    this->ExpectWorks(this->List(dead.GetHost() + ", " + this->Server().GetHost()));
    EXPECT_GE(dead.GetAcceptedCount(), 1);
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
    holder.Init(this->List(this->Server().GetHost(), "Timeout=30|ConnectTimeout=30"));
    this->ExpectWorks(holder);
    this->Server().Stop();
    std::string failure;
    std::thread search([&] { failure = this->FailureOf(holder); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto time = this->TimeOf([&] {
        this->Server().Kill();
        search.join();
    });
    EXPECT_LT(time, std::chrono::seconds(15)) << "it waited for the limit";
    EXPECT_THAT(failure, testing::StartsWith(this->Server().GetHost() + ": "));
    this->Server().Restart();
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, StoppedServerFailsSearchesInTime) {
    KwLookupHolder kept(this->m_log);
    kept.Init(this->List(this->Server().GetHost()));
    this->ExpectWorks(kept);
    KwLookupHolder fresh(this->m_log);
    fresh.Init(this->List(this->Server().GetHost(), "ConnectTimeout=20"));
    this->Server().Stop();
    this->ExpectFailsInTime(kept, "no answer in time");
    this->ExpectFailsInTime(fresh, "no answer in time");
    this->Server().Continue();
    this->ExpectWorks(kept);
    this->ExpectWorks(fresh);
}

TYPED_TEST_P(ServerFaultsTest, AnswerThatStopsSomewhereFailsSearchesInTime) {
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost(), "ConnectTimeout=20"));
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    for (const std::size_t bytes : {std::size_t(0), std::size_t(1), length / 2, length - 1}) {
        SCOPED_TRACE(bytes);
        proxy.SetFault(TestFixture::Fault::Hang, bytes);
        proxy.Disconnect();
        this->ExpectFailsInTime(holder, "no answer in time");
    }
    proxy.SetFault(TestFixture::Fault::None);
    this->ExpectWorks(holder);
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
    for (const auto fault : {TestFixture::Fault::Close, TestFixture::Fault::Reset})
        // Logging in takes longer than the answer, and is much the same everywhere.
        for (std::size_t bytes = 0; bytes < length; bytes += bytes < length - answer ? 7 : 1) {
            proxy.SetFault(fault, bytes);
            proxy.Disconnect();
            std::string failure;
            const auto time = this->TimeOf([&] { failure = this->FailureOf(holder); });
            EXPECT_THAT(failure, testing::StartsWith(proxy.GetHost() + ": ")) << bytes;
            EXPECT_LT(time, TestFixture::LIMIT) << bytes;
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
    // Garbage may claim that more of it follows, which takes the whole time.
    for (std::size_t bytes = 0; bytes < length; bytes += 1 + length / 10) {
        proxy.SetFault(TestFixture::Fault::Scramble, bytes);
        proxy.Disconnect();
        std::string failure;
        const auto time = this->TimeOf([&] { failure = this->FailureOf(holder); });
        EXPECT_NE(failure, "not found") << bytes;
        EXPECT_LT(time, TestFixture::LIMIT + std::chrono::seconds(1)) << bytes;
    }
    proxy.SetFault(TestFixture::Fault::None);
    this->ExpectWorks(holder);
}

TYPED_TEST_P(ServerFaultsTest, WrongPasswordIsAFaultAndNoSecretIsTold) {
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
    if (child == 0)
        ::_exit(this->FailureOf(holder) == "found OK" ? 0 : 1);
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
    holder.Init(this->List(this->Server().GetHost(), "Timeout=30"));
    const auto search = [&](int rounds) {
        int found = 0;
        for (int i = 0; i < rounds; ++i) {
            const std::string answer = this->FailureOf(holder);
            found += answer == "found OK";
            EXPECT_NE(answer, "not found");
        }
        return found;
    };
    std::atomic<bool> done{false};
    std::thread searches([&] {
        EXPECT_GT(search(this->ROUNDS / 10), 0);
        const std::size_t heap = ::mallinfo2().uordblks;
        const auto files = this->OpenFiles();
        EXPECT_GT(search(this->ROUNDS), this->ROUNDS / 10);
        EXPECT_LT(::mallinfo2().uordblks, heap + 65536);
        EXPECT_LE(this->OpenFiles(), files + 2) << "a connection, and what a restart has open";
        done = true;
    });
    for (int i = 1; !done; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (i % 10 == 0)
            this->Server().Restart();
    }
    searches.join();
    this->ExpectWorks(holder);
}

REGISTER_TYPED_TEST_SUITE_P(ServerFaultsTest, AnswersByPortAndBySocket,
                            ServerMayBeDownWhenTheListIsLoaded, AnotherServerAnswersInItsPlace,
                            RestartCostsNoSearch, ServerDiesWhileItIsAsked,
                            StoppedServerFailsSearchesInTime,
                            AnswerThatStopsSomewhereFailsSearchesInTime,
                            AnswerCutAfterAnyByteIsAFault, GarbageIsNeverAMiss,
                            WrongPasswordIsAFaultAndNoSecretIsTold, LongRunLeavesNothingBehind,
                            ChildAfterForkConnectsItself);
