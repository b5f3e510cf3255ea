// SPDX-License-Identifier: MIT
// Several items and searches that share servers, connections and kept answers.
#include "lookup/PluginFigures.h"
#include "plugins/redis/tests/RedisSupport.h"
#include "servers/SilentListener.h"

#include <stdexcept>
#include <vector>

namespace kwlookup {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto LEVEL_WARN = log4cxx::Level::LEVEL_WARN;

class RedisSharingTest : public RedisTest {
protected:
    RedisSharingTest() { Fill(m_server); }

    std::string Refused() const { return m_server.GetHost() + ": Connection refused"; }

    RedisServer m_server;
};

TEST_F(RedisSharingTest, AListCanBeLoadedWhileItsServerIsDown) {
    m_server.Kill();
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_server.GetHost(), "RetryInterval=1|GET $s"));
    KwLookupHolder patient(m_log);
    patient.Init(Item(m_server.GetHost(), "RetryInterval=1h|GET $s"));
    EXPECT_FALSE(holder.Empty());
    EXPECT_EQ(SearchError(holder), Refused());
    EXPECT_EQ(SearchError(patient), Refused());
    m_server.Restart();
    EXPECT_EQ(SearchError(patient), Refused()); // not asked again yet
    EXPECT_TRUE(Eventually([&] { return SearchError(holder).empty(); }));
    ExpectFound(holder);
}

TEST_F(RedisSharingTest, ThePlugInReportsItsServers) {
    const auto get = [](const std::string& name, const std::string& label) {
        for (const PluginFigures::Figure& figure : PluginFigures::GetAll())
            if (figure.type == "redis" && figure.name == name && figure.label == label)
                return static_cast<long>(figure.value);
        return -1L;
    };
    const auto up = [&] { return get("server_up", m_server.GetHost()); };
    EXPECT_EQ(up(), -1);
    {
        KwLookupHolder holder(m_log);
        holder.Init(Item(m_server.GetHost(), "RetryInterval=1|CacheTime=1h|GET $s"));
        const long asked = get("answers", "server"), kept = get("answers", "cache");
        ExpectFound(holder);
        EXPECT_EQ(up(), 1);
        EXPECT_EQ(get("answers", "server"), asked + 1);
        m_server.Kill();
        ExpectFound(holder);
        EXPECT_EQ(get("answers", "cache"), kept + 1);
        EXPECT_EQ(up(), 1); // it has not been asked
        KwLookupHolder other(m_log);
        other.Init(Item(m_server.GetHost(), "RetryInterval=1|CacheTime=1h|GET other-$s"));
        EXPECT_NE(SearchError(other), "");
        EXPECT_EQ(up(), 0);
    }
    EXPECT_EQ(up(), -1);
}

TEST_F(RedisSharingTest, AStoppedServerCostsOneSearchItsTime) {
    m_server.Stop();
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_server.GetHost(), "Timeout=1|RetryInterval=1h|GET $s"));
    const std::string silence = m_server.GetHost() + ": no answer in time";
    EXPECT_GE(TimeOf([&] { EXPECT_EQ(SearchError(holder), silence); }), seconds(1));
    const auto later = TimeOf([&] {
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(SearchError(holder), silence);
    });
    EXPECT_LT(later, seconds(50));
    KwLookupHolder again(m_log);
    again.Init(Item(m_server.GetHost(), "Timeout=1|RetryInterval=1|GET $s"));
    EXPECT_EQ(SearchError(again), silence);
    m_server.Continue();
    EXPECT_TRUE(Eventually([&] { return SearchError(again).empty(); }));
}

TEST_F(RedisSharingTest, AnotherHostAnswersInPlaceOfOneThatFails) {
    RedisServer second;
    second.Load({{"SET", "jdoe@corp.lan", "second"}});
    const std::string hosts = m_server.GetHost() + ", " + second.GetHost();
    KwLookupHolder holder(m_log);
    holder.Init(Item(hosts, "RetryInterval=1|GET $s"));
    KwLookupHolder patient(m_log);
    patient.Init(Item(hosts, "RetryInterval=1h|GET $s"));
    const auto result = [](const KwLookupHolder& list) { return Ask(list, "jdoe@corp.lan").res; };
    EXPECT_EQ(result(holder), " OK");
    EXPECT_EQ(result(patient), " OK");
    m_server.Kill();
    EXPECT_EQ(result(holder), " second");
    EXPECT_EQ(result(patient), " second");
    m_server.Restart();
    EXPECT_EQ(result(patient), " second"); // the first one is not asked again yet
    EXPECT_TRUE(Eventually([&] { return result(holder) == " OK"; }));
    m_server.Kill();
    second.Kill();
    EXPECT_EQ(SearchError(holder), Refused() + "; " + second.GetHost() + ": Connection refused");
}

TEST_F(RedisSharingTest, ServersAreMixedOnRequest) {
    RedisServer second;
    second.Load({{"SET", "jdoe@corp.lan", "second"}});
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_server.GetHost() + ", " + second.GetHost(), "Balance=random|GET $s"));
    int of_second = 0;
    for (int i = 0; i < 1000; ++i)
        of_second += Ask(holder, "jdoe@corp.lan").res == " second";
    EXPECT_GT(of_second, 400);
    EXPECT_LT(of_second, 600);
}

TEST_F(RedisSharingTest, AHostThatDropsPacketsCostsNoMoreThanTheConnectTimeout) {
    const SilentListener silent;
    KwLookupHolder holder(m_log);
    holder.Init(Item(silent.GetHost() + ", " + m_server.GetHost(), "ConnectTimeout=1|GET $s"));
    const auto time = TimeOf([&] { ExpectFound(holder); });
    EXPECT_GE(time, seconds(1));
    EXPECT_LT(time, seconds(45));
    // Then it is not asked.
    const auto later = TimeOf([&] {
        for (int i = 0; i < 100; ++i)
            ExpectFound(holder);
    });
    EXPECT_LT(later, seconds(50));

    KwLookupHolder alone(m_log);
    alone.Init(Item(silent.GetHost(), "ConnectTimeout=1|RetryInterval=0|GET $s"));
    ExpectInTime(seconds(1), [&] {
        EXPECT_EQ(SearchError(alone), silent.GetHost() + ": Connection timed out");
    });
}

TEST_F(RedisSharingTest, InvalidNamesAreFaults) {
    KwLookupHolder holder(m_log);
    holder.Init(Item("name.invalid", "Timeout=1|ConnectTimeout=1|RetryInterval=0|GET $s"));
    ExpectInTime(seconds(1),
                 [&] { EXPECT_THAT(SearchError(holder), StartsWith("name.invalid:6379: ")); });
    KwLookupHolder by_name(m_log);
    by_name.Init(Item("localhost:" + std::to_string(m_server.GetPort())));
    ExpectFound(by_name);
    EXPECT_THAT(SearchErrorOf(Item("unix:/does/not/exist"), "x"),
                "unix:/does/not/exist: No such file or directory");
}

TEST_F(RedisSharingTest, ItemsWithEqualSettingsShareTheirConnections) {
    FaultyProxy proxy(SharedServer().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(proxy.GetHost(), "GET $s") + ", " + Item(proxy.GetHost(), "HGET blocked $d") +
                ", " + Item(proxy.GetHost(), "EXISTS $s"));
    KwLookupHolder other(m_log);
    other.Init(Item(proxy.GetHost(), "ZSCORE scores $s"));
    Ask(holder, "jdoe@corp.lan");
    Ask(other, "jdoe@corp.lan");
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);
    KwLookupHolder different(m_log);
    different.Init(Item(proxy.GetHost(), "Timeout=50|GET $s"));
    Ask(different, "jdoe@corp.lan");
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
}

TEST_F(RedisSharingTest, AtMostMaxConnectionsAreMade) {
    RedisServer server;
    Fill(server);
    FaultyProxy proxy(server.GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(proxy.GetHost(), "MaxConnections=2|GET $s"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&holder, i] {
            for (int j = 0; j < 100; ++j)
                EXPECT_EQ(Ask(holder, std::to_string(i) + "-" + std::to_string(j)), Miss());
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LE(proxy.GetAcceptedCount(), 2);

    // A search that gets none waits no longer than its time.
    server.Stop();
    KwLookupHolder impatient(m_log);
    impatient.Init(Item(proxy.GetHost(), "MaxConnections=1|Timeout=1|RetryInterval=0|GET $s"));
    std::vector<std::thread> others;
    ExpectInTime(seconds(1), [&] {
        others.emplace_back([&] { SearchError(impatient, "first"); });
        std::this_thread::sleep_for(milliseconds(100));
        EXPECT_THAT(SearchError(impatient, "second"), HasSubstr(proxy.GetHost()));
    });
    for (std::thread& other : others)
        other.join();
}

TEST_F(RedisSharingTest, IdleConnectionsAreClosedWithoutSearches) {
    FaultyProxy proxy(SharedServer().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(proxy.GetHost(), "IdleTimeout=1|GET $s"));
    ExpectFound(holder);
    EXPECT_EQ(proxy.GetOpenCount(), 1);
    EXPECT_TRUE(Eventually([&] { return proxy.GetOpenCount() == 0; }));
    ExpectFound(holder);
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);

    KwLookupHolder none(m_log);
    none.Init(Item(proxy.GetHost(), "IdleTimeout=0|GET $s"));
    ExpectFound(none);
    ExpectFound(none);
    EXPECT_EQ(proxy.GetAcceptedCount(), 4);
}

TEST_F(RedisSharingTest, ParametersWorkAtTheirLimits) {
    const std::string least = "Timeout=1|ConnectTimeout=1|MaxConnections=1|IdleTimeout=0|"
                              "RetryInterval=0|CacheTime=0|NegativeCacheTime=0|CacheSize=1|"
                              "StaleTime=0|MaxRows=1";
    const std::string most = "Timeout=1d|ConnectTimeout=1d|MaxConnections=1000|IdleTimeout=1d|"
                             "RetryInterval=1d|CacheTime=1d|NegativeCacheTime=1d|"
                             "CacheSize=10000000|StaleTime=1d|MaxRows=2147483647";
    for (const bool is_most : {false, true}) {
        SCOPED_TRACE(is_most);
        FaultyProxy proxy(m_server.GetPort());
        KwLookupHolder holder(m_log);
        holder.Init(Item(proxy.GetHost(), (is_most ? most : least) + "|GET $s"));
        for (int i = 0; i < 3; ++i) {
            ExpectFound(holder);
            EXPECT_EQ(Ask(holder, "nobody"), Miss());
        }
        EXPECT_EQ(proxy.GetAcceptedCount(), is_most ? 1 : 6) << "kept, or closed after each";
        proxy.SetFault(FaultyProxy::Fault::Close);
        proxy.Disconnect();
        EXPECT_NE(SearchError(holder, "other"), "");
        EXPECT_EQ(SearchError(holder).empty(), is_most) << "from the cache, or asked";
        proxy.SetFault(FaultyProxy::Fault::None);
        EXPECT_EQ(SearchError(holder, "other").empty(), !is_most) << "not tried for a day, or now";
    }
}

TEST_F(RedisSharingTest, AnswersAreKeptOnRequest) {
    RedisServer server;
    Fill(server);
    KwLookupHolder holder(m_log);
    holder.Init(Item(server.GetHost(), "CacheTime=1s|StaleTime=1h|RetryInterval=0|GET $s"));
    ExpectFound(holder);
    EXPECT_EQ(Ask(holder, "nobody"), Miss());
    RecordingLog::Reset();
    server.Kill();
    ExpectFound(holder);
    std::this_thread::sleep_for(milliseconds(1100));
    for (int i = 0; i < 10; ++i)
        ExpectFound(holder);
    EXPECT_THAT(RecordingLog::Texts(LEVEL_WARN),
                ElementsAre("lookup_redis: old answers are used: " + server.GetHost() +
                            ": Connection refused"));
    EXPECT_EQ(SearchError(holder, "empty"), server.GetHost() + ": Connection refused");

    // A reload keeps them, as the items are the same.
    KwObjectHolder::BeforeReload(m_log);
    KwLookupHolder again(m_log);
    again.Init(Item(server.GetHost(), "CacheTime=1s|StaleTime=1h|RetryInterval=0|GET $s"));
    ExpectFound(again);
}

} // namespace
} // namespace kwlookup
