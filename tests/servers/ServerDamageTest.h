// SPDX-License-Identifier: MIT
#pragma once

#include "kwlog/Logging.h"
#include "servers/FaultyProxy.h"
#include "servers/ServerPluginTest.h"

#if defined(KWLOOKUP_UNDER_ASAN)
#include <sanitizer/lsan_interface.h>
#endif

#include <cstdlib>
#include <random>
#include <string>

/// Tests of answers that are damaged on their way.
template <typename Service>
class ServerDamageTest : public ServerPluginTest<Service> {};

TYPED_TEST_SUITE_P(ServerDamageTest);

TYPED_TEST_P(ServerDamageTest, FlippedByteIsNeverAMiss) {
    RecordingLog::Silence();
    kwlookup::FaultyProxy proxy(this->Server().GetPort());
    KwLookupHolder holder(this->m_log);
    holder.Init(this->List(proxy.GetHost()));
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    EXPECT_EQ(this->FailureOf(holder), "found OK");
    const std::size_t answer = proxy.GetForwardedBytes() - length;
    // A changed length announces more bytes, so that the search waits until its time is over.
    holder.Init(this->List(proxy.GetHost(), this->LIMITED));
    const char* const wanted = std::getenv("KWLOOKUP_FLIPS");
    const int flips = wanted ? std::atoi(wanted) : 20;
    std::mt19937 random(std::random_device{}());
#if defined(KWLOOKUP_UNDER_ASAN)
    const __lsan::ScopedDisabler disabled; // libldap does not free some messages that it refuses
#endif
    for (int i = 0; i < flips; ++i) {
        const std::size_t at = i % 2 ? length - answer + random() % answer : random() % length;
        const auto bits = static_cast<unsigned char>(1 + random() % 255);
        proxy.SetFault(kwlookup::FaultyProxy::Fault::Flip, at, bits);
        proxy.Disconnect();
        std::string failure;
        const auto time = this->TimeOf([&] { failure = this->FailureOf(holder); });
        EXPECT_NE(failure, "not found") << at << " of " << length << ", bits " << +bits;
        EXPECT_LT(time, TestFixture::LIMIT + std::chrono::seconds(30)) << at << ", bits " << +bits;
    }
    proxy.SetFault(kwlookup::FaultyProxy::Fault::None);
    proxy.Disconnect();
    this->ExpectWorksInTime(holder);
}

REGISTER_TYPED_TEST_SUITE_P(ServerDamageTest, FlippedByteIsNeverAMiss);
