// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/Metrics.h"
#include "kwlookupd/Client.h"
#include "kwlookupd/CountAnswer.h"
#include "kwlookupd/Daemon.h"
#include "support/Rounds.h"
#include "support/RunProgram.h"
#include "tools/kwlookupd/status/Escape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace kwlookup {
namespace {

using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

DoorConfig MakeDoorConfig(const std::string& name, std::vector<DoorConfig::List> lists,
                          std::vector<DoorConfig::Rule> rules = {}) {
    DoorConfig door;
    door.name = name;
    door.lists = std::move(lists);
    door.rules = std::move(rules);
    return door;
}

/// Two lists; the door `map` serves both, `policy` asks the second by rules.
Metrics MakeMetrics(std::size_t threads) {
    return Metrics(
        {MakeDoorConfig("map", {{"blocked", 0}, {"access", 1}}),
         MakeDoorConfig("policy", {}, {{"sender", {"access", 1}}, {"recipient", {"access", 1}}})},
        {"blocked", "access"}, threads);
}

TEST(Metrics, AddsUpWhatAllThreadsCounted) {
    Metrics metrics = MakeMetrics(3);
    CountAnswer(metrics, 0, 0, 0, Outcome::Found, 900);
    CountAnswer(metrics, 1, 0, 0, Outcome::Found, 1'000);
    CountAnswer(metrics, 2, 0, 1, Outcome::NotFound, 1'001);
    CountAnswer(metrics, 2, 1, 1, Outcome::Unavailable, 6'000'000'000);

    EXPECT_EQ(metrics.GetDoorCounts(0).found, 2U);
    EXPECT_EQ(metrics.GetDoorCounts(0).not_found, 1U);
    EXPECT_EQ(metrics.GetDoorCounts(1).unavailable, 1U);
    EXPECT_EQ(metrics.GetListCounts(0).found, 2U);
    EXPECT_EQ(metrics.GetListCounts(1).not_found, 1U);
    EXPECT_EQ(metrics.GetListCounts(1).unavailable, 1U);

    const std::string text = metrics.ToPrometheus({}, 0);
    for (const char* line : {
             R"(kwlookupd_requests_total{door="map",list="blocked",outcome="found"} 2)",
             R"(kwlookupd_requests_total{door="map",list="access",outcome="not_found"} 1)",
             R"(kwlookupd_requests_total{door="map",list="access",outcome="unavailable"} 0)",
             R"(kwlookupd_requests_total{door="policy",list="access",outcome="unavailable"} 1)",
             R"(kwlookupd_request_duration_seconds_bucket{door="map",le="1e-06"} 2)",
             R"(kwlookupd_request_duration_seconds_bucket{door="map",le="2e-06"} 3)",
             R"(kwlookupd_request_duration_seconds_bucket{door="map",le="+Inf"} 3)",
             R"(kwlookupd_request_duration_seconds_bucket{door="policy",le="5.0"} 0)",
             R"(kwlookupd_request_duration_seconds_bucket{door="policy",le="+Inf"} 1)",
             R"(kwlookupd_request_duration_seconds_sum{door="map"} 0.000002901)",
             R"(kwlookupd_request_duration_seconds_sum{door="policy"} 6.000000000)",
             R"(kwlookupd_request_duration_seconds_count{door="map"} 3)",
         })
        EXPECT_THAT(text, HasSubstr(std::string(line) + "\n"));
    // A door has no line for a list that it does not serve, and one for each that it does.
    EXPECT_THAT(text, Not(HasSubstr(R"(door="policy",list="blocked")")));
}

TEST(Metrics, CountsTheTimeOfEachOfManyAnswers) {
    Metrics metrics = MakeMetrics(1);
    metrics.CountTimes(0, 0, 2'000, 16);
    const std::string text = metrics.ToPrometheus({}, 0);
    for (const char* line : {
             R"(kwlookupd_request_duration_seconds_bucket{door="map",le="1e-06"} 0)",
             R"(kwlookupd_request_duration_seconds_bucket{door="map",le="2e-06"} 16)",
             R"(kwlookupd_request_duration_seconds_sum{door="map"} 0.000032000)",
             R"(kwlookupd_request_duration_seconds_count{door="map"} 16)",
         })
        EXPECT_THAT(text, HasSubstr(std::string(line) + "\n"));
}

TEST(Metrics, CountsConnectionsAndReloads) {
    Metrics metrics = MakeMetrics(2);
    metrics.CountConnection(0, 0, 1);
    metrics.CountConnection(1, 0, 1);
    metrics.CountConnection(1, 0, -1);
    metrics.CountRefused(1, 1);
    metrics.CountReload(0, ReloadResult::Swapped);
    metrics.CountReload(0, ReloadResult::Refused);
    metrics.CountReload(0, ReloadResult::Refused);
    EXPECT_EQ(metrics.GetConnections(0), 1U);
    const std::string text = metrics.ToPrometheus({}, 0);
    for (const char* line : {
             R"(kwlookupd_connections{door="map"} 1)",
             R"(kwlookupd_connections_total{door="map"} 2)",
             R"(kwlookupd_connections_refused_total{door="policy"} 1)",
             R"(kwlookupd_reloads_total{list="blocked",result="swapped"} 1)",
             R"(kwlookupd_reloads_total{list="blocked",result="refused"} 2)",
             R"(kwlookupd_reloads_total{list="access",result="failed"} 0)",
         })
        EXPECT_THAT(text, HasSubstr(std::string(line) + "\n"));
}

TEST(Metrics, TellsTheStateOfLists) {
    const Metrics metrics = MakeMetrics(1);
    ListState loaded;
    loaded.name = "blocked";
    loaded.loaded = true;
    loaded.records = 12;
    loaded.load_time = 1000;
    ListState missing;
    missing.name = "access";
    missing.fault = "cannot open file";
    const std::string text = metrics.ToPrometheus({loaded, missing}, 1060);
    for (const char* line : {
             R"(kwlookupd_list_loaded{list="blocked"} 1)",
             R"(kwlookupd_list_loaded{list="access"} 0)",
             R"(kwlookupd_list_fault{list="blocked"} 0)",
             R"(kwlookupd_list_fault{list="access"} 1)",
             R"(kwlookupd_list_records{list="blocked"} 12)",
             R"(kwlookupd_list_age_seconds{list="blocked"} 60)",
         })
        EXPECT_THAT(text, HasSubstr(std::string(line) + "\n"));
    EXPECT_THAT(text, Not(HasSubstr(R"(kwlookupd_list_age_seconds{list="access"})")));
    // The clock was set back.
    EXPECT_THAT(metrics.ToPrometheus({loaded}, 900),
                HasSubstr(R"(kwlookupd_list_age_seconds{list="blocked"} 0)"));
}

TEST(Metrics, TellsTheStateOfServers) {
    const Metrics metrics = MakeMetrics(1);
    PluginStates plugins;
    plugins.servers = {{"redis", "db1:6379", true}, {"redis", "db2:6379", false}};
    plugins.answers = {{"redis", "cache", 7}};
    const std::string text = metrics.ToPrometheus({}, 0, plugins);
    for (const char* line : {
             R"(kwlookupd_server_up{type="redis",server="db1:6379"} 1)",
             R"(kwlookupd_server_up{type="redis",server="db2:6379"} 0)",
             R"(kwlookupd_plugin_answers_total{type="redis",origin="cache"} 7)",
         })
        EXPECT_THAT(text, HasSubstr(std::string(line) + "\n"));
}

TEST(Metrics, SamplesHoldWhatWasCountedSinceTheLast) {
    Metrics metrics = MakeMetrics(2);
    const auto start = std::chrono::steady_clock::now();
    metrics.TakeSample(start);
    for (int i = 0; i < 98; ++i)
        CountAnswer(metrics, i % 2, 0, 0, Outcome::Found, 3'000);
    CountAnswer(metrics, 0, 0, 0, Outcome::NotFound, 40'000);
    CountAnswer(metrics, 1, 0, 1, Outcome::Unavailable, 900'000'000);
    metrics.TakeSample(start + seconds(10));
    CountAnswer(metrics, 0, 0, 0, Outcome::Found, 9'000'000'000);
    metrics.TakeSample(start + seconds(30));
    metrics.TakeSample(start + seconds(40));

    const std::vector<Metrics::Sample> history = metrics.GetHistory();
    ASSERT_EQ(history.size(), 4U);
    EXPECT_EQ(history[1].seconds, 10);
    EXPECT_EQ(history[1].doors[0].requests, 100U);
    EXPECT_EQ(history[1].doors[0].unavailable, 1U);
    EXPECT_EQ(history[1].doors[0].median, 5'000U);
    EXPECT_EQ(history[1].doors[0].slowest, 1'000'000'000U);
    EXPECT_EQ(history[1].unavailable, (std::vector<std::uint64_t>{0, 1}));
    EXPECT_EQ(history[1].doors[1].requests, 0U);
    EXPECT_EQ(history[2].seconds, 20);
    EXPECT_EQ(history[2].doors[0].requests, 1U);
    EXPECT_EQ(history[2].doors[0].median, 5'000'000'000U); // the last bound
    EXPECT_EQ(history[3].doors[0].requests, 0U);
    EXPECT_EQ(history[3].doors[0].median, 0U);
    EXPECT_EQ(history[3].unavailable, (std::vector<std::uint64_t>{0, 0}));
}

TEST(Metrics, HistoryIsOneHour) {
    Metrics metrics = MakeMetrics(1);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 400; ++i) {
        CountAnswer(metrics, 0, 0, 0, Outcome::Found, 1);
        metrics.TakeSample(start + Metrics::SAMPLE_PERIOD * i);
    }
    double covered = 0;
    for (const Metrics::Sample& sample : metrics.GetHistory())
        covered += sample.seconds;
    EXPECT_NEAR(covered, 3600, 0.1);
}

TEST(Metrics, KeepsOneFaultASecond) {
    Metrics metrics = MakeMetrics(1);
    EXPECT_EQ(metrics.GetFault(0).time, 0);
    metrics.NoteFault(0, "server gone");
    const Metrics::Fault fault = metrics.GetFault(0);
    EXPECT_NE(fault.time, 0);
    EXPECT_EQ(fault.reason, "server gone");
    EXPECT_EQ(metrics.GetFault(1).time, 0);
    for (int i = 0; i < 3000 && metrics.GetFault(0).reason != "timed out"; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        metrics.NoteFault(0, "timed out");
    }
    EXPECT_EQ(metrics.GetFault(0).reason, "timed out");
    EXPECT_GT(metrics.GetFault(0).time, fault.time);
}

// Each thread counts, while one reads all that there is.
TEST(MetricsThreads, CountWithoutLoss) {
    constexpr std::size_t THREADS = 3;
    const int rounds = Rounds(100'000);
    Metrics metrics = MakeMetrics(THREADS);
    std::atomic<bool> done = false;
    std::thread reader([&] {
        std::uint64_t last = 0;
        while (!done) {
            metrics.TakeSample(std::chrono::steady_clock::now());
            const std::uint64_t found = metrics.GetDoorCounts(0).found;
            EXPECT_GE(found, last);
            last = found;
            EXPECT_LE(metrics.GetConnections(1), THREADS);
            metrics.GetHistory();
            metrics.GetFault(0);
            metrics.ToPrometheus({}, 0);
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < rounds; ++i) {
                metrics.CountConnection(thread, 1, 1);
                CountAnswer(metrics, thread, 0, 0, Outcome::Found, static_cast<std::uint64_t>(i));
                metrics.CountConnection(thread, 1, -1);
                if (i % 1024 == 0) {
                    metrics.NoteFault(0, "server gone");
                    metrics.CountReload(1, ReloadResult::Unchanged);
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    done = true;
    reader.join();
    EXPECT_EQ(metrics.GetDoorCounts(0).found, THREADS * rounds);
    EXPECT_EQ(metrics.GetConnections(1), 0U);
    EXPECT_THAT(metrics.ToPrometheus({}, 0),
                HasSubstr(R"(kwlookupd_reloads_total{list="access",result="unchanged"} )" +
                          std::to_string(THREADS * ((rounds + 1023) / 1024)) + "\n"));
}

constexpr const char* HOSTILE = "a\\b\"c\nd{}\xff\xe2\x82\xac</x>\x01";

TEST(Metrics, PrometheusReadsTheText) {
    Metrics metrics({MakeDoorConfig(HOSTILE, {{HOSTILE, 0}}), MakeDoorConfig("empty", {{"b", 1}})},
                    {HOSTILE, "b"}, 2);
    CountAnswer(metrics, 0, 0, 0, Outcome::Found, 1'500);
    metrics.CountConnection(1, 0, 1);
    ListState state;
    state.name = HOSTILE;
    state.loaded = true;
    state.fault = HOSTILE;
    PluginStates plugins;
    plugins.servers = {{HOSTILE, HOSTILE, false}, {HOSTILE, "b", true}};
    plugins.answers = {{HOSTILE, "server", 1}, {HOSTILE, "cache", 2}};
    const std::string text = metrics.ToPrometheus({state}, 1'700'000'000, plugins);
    EXPECT_THAT(text, HasSubstr("list=\"a\\\\b\\\"c\\nd{}\xef\xbf\xbd\xe2\x82\xac</x>\x01\""));
    const ProgramResult result = RunProgram({PROMTOOL, "check", "metrics"}, text);
    EXPECT_EQ(result.status, 0) << result.err << text;
    EXPECT_EQ(result.out + result.err, "");
}

TEST(Metrics, PrometheusReadsTheTextOfADaemon) {
    const TempDir dir;
    const Daemon daemon(dir, "[list hosts]\nObjects = a.lan\n[list bad]\nObjects = file:@/none\n"
                             "[door maps]\nProtocol = socketmap\nAddress = unix:@/maps\n"
                             "[door rules]\nProtocol = policy\nAddress = unix:@/rules\n"
                             "Ask = sender:hosts, recipient:hosts\n"
                             "[door web]\nProtocol = http\nAddress = unix:@/web\n");
    for (const char* list : {"hosts", "bad", "other"})
        EXPECT_NE(Daemon::Ask("unix:" + dir.Path("maps"), list, "x@a.lan"), "");
    Client web("unix:" + dir.Path("web"));
    web.Send("GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const std::string answer = web.ReceiveAll();
    EXPECT_THAT(answer, testing::StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Type: text/plain; version=0.0.4"));
    const std::string text = answer.substr(answer.find("\r\n\r\n") + 4);
    EXPECT_THAT(text, HasSubstr("kwlookupd_list_loaded{list=\"bad\"} 0\n"));
    const ProgramResult result = RunProgram({PROMTOOL, "check", "metrics"}, text);
    EXPECT_EQ(result.status, 0) << result.err << text;
    EXPECT_EQ(result.out + result.err, "");
}

struct EscapeCase {
    std::string text, html, label;
};

TEST(Escape, LeavesNothingThatHasAMeaning) {
    const std::string replaced = "\xef\xbf\xbd";
    const EscapeCase cases[] = {
        {"", "", ""},
        {"plain @ text", "plain @ text", "plain @ text"},
        {"<a b=\"c\" d='e'>&amp;</a>", "&lt;a b=&quot;c&quot; d=&#39;e&#39;&gt;&amp;amp;&lt;/a&gt;",
         "<a b=\\\"c\\\" d='e'>&amp;</a>"},
        {"a\\n\nb\tc", "a\\n\nb\tc", "a\\\\n\\nb\tc"},
        {std::string("\0\x1b\x7f", 3), replaced + replaced + replaced,
         std::string("\0\x1b\x7f", 3)},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80",
         "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
        // Broken, overlong, a surrogate, cut off
        {"\xff<", replaced + "&lt;", replaced + "<"},
        {"\xc3<", replaced + "&lt;", replaced + "<"},
        {"\xc0\xbc", replaced + replaced, replaced + replaced},
        {"\xed\xa0\x80", replaced + replaced + replaced, replaced + replaced + replaced},
        {"\xf0\x9f\x98", replaced + replaced + replaced, replaced + replaced + replaced},
    };
    for (const EscapeCase& test : cases) {
        EXPECT_EQ(EscapeHtml(test.text), test.html) << test.text;
        EXPECT_EQ(EscapeLabel(test.text), test.label) << test.text;
    }
}

} // namespace
} // namespace kwlookup
