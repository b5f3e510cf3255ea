// SPDX-License-Identifier: MIT
#include "plugins/oracle/tests/OracleService.h"
#include "servers/ServerPluginTest.h"

#include <atomic>
#include <thread>
#include <vector>

using namespace kwlookup;

namespace {

using OracleThreadsTest = ServerPluginTest<OracleService>;

TEST_F(OracleThreadsTest, SearchesDuringReloadsWhileSessionsDie) {
    RecordingLog::Silence();
    constexpr int THREADS = 8;
    const std::string list = List(Server().GetHost(), "MaxConnections=4");
    KwLookupHolder shared(m_log);
    shared.Init(list);
    std::atomic<int> running{THREADS}, wrong{0}, found{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 20; ++round) {
                KwLookupHolder own(m_log);
                if (i % 2)
                    own.Init(list);
                for (int search = 0; search < 20; ++search) {
                    const std::string answer = FailureOf(i % 2 ? own : shared);
                    found += answer == "found OK";
                    wrong += answer == "not found";
                }
            }
            --running;
        });
    StandIn& client = Get().GetStandIn();
    while (running > 0) {
        KwObjectHolder::BeforeReload(m_log);
        KwObjectHolder::AfterReload(m_log);
        client.killed = client.sessions.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(found, 0);
    EXPECT_EQ(wrong, 0);
    ExpectWorks(shared);
}

} // namespace
