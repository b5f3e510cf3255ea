// SPDX-License-Identifier: MIT
#include "families/servers/ServerReport.h"

#include "families/servers/AnswerCache.h"
#include "lookup/PluginFigures.h"
#include "support/Rounds.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kwlookup {
namespace {

using Figures = std::map<std::string, std::uint64_t>;

class ServerReportTest : public testing::Test {
protected:
    ServerReportTest() {
        ServerReport::Begin("lookup_test");
        ServerReport::Begin("lookup_test"); // each list does
    }

    /// The figures with this name, by label.
    static Figures Get(const std::string& name) {
        Figures figures;
        for (const PluginFigures::Figure& figure : PluginFigures::GetAll())
            if (figure.name == name) {
                EXPECT_EQ(figure.type, "test");
                EXPECT_TRUE(figures.emplace(figure.label, figure.value).second) << figure.label;
            }
        return figures;
    }

    static constexpr std::chrono::hours LONG{1};
};

TEST_F(ServerReportTest, TellsWhichServersFailed) {
    EXPECT_EQ(Get("server_up"), Figures());
    ServerHealth health(2, false, LONG);
    {
        const ServerReport report(health, {"db1", "db2"});
        EXPECT_EQ(Get("server_up"), (Figures{{"db1", 1}, {"db2", 1}}));
        health.Failed(1, "gone");
        EXPECT_EQ(Get("server_up"), (Figures{{"db1", 1}, {"db2", 0}}));
        health.Failed(0, "gone");
        EXPECT_EQ(Get("server_up"), (Figures{{"db1", 0}, {"db2", 0}}));
        health.Worked(1);
        EXPECT_EQ(Get("server_up"), (Figures{{"db1", 0}, {"db2", 1}}));
    }
    EXPECT_EQ(Get("server_up"), Figures());
}

TEST_F(ServerReportTest, AServerOfTwoSetsHasFailedIfItFailedInOne) {
    ServerHealth one(1, false, LONG), two(1, false, LONG);
    const ServerReport first(one, {"db"}), second(two, {"db"});
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 1}}));
    one.Failed(0, "wrong password");
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 0}}));
    two.Failed(0, "wrong password");
    one.Worked(0);
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 0}}));
    two.Worked(0);
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 1}}));
}

TEST_F(ServerReportTest, ASetMadeAfterAFailureCountsInstead) {
    ServerHealth before(1, false, LONG), after(1, false, LONG);
    const ServerReport first(before, {"db"});
    before.Failed(0, "wrong password");
    const ServerReport second(after, {"db"});
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 1}}));
    after.Failed(0, "gone");
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 0}}));
    after.Worked(0);
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 1}}));
    before.Failed(0, "wrong password"); // somebody still asks it
    EXPECT_EQ(Get("server_up"), (Figures{{"db", 0}}));
}

TEST_F(ServerReportTest, CountsWhereAnswersCameFrom) {
    ServerSettings settings;
    settings.cache_size = 10;
    settings.max_rows = 1;
    settings.negative_cache_time = std::chrono::milliseconds(1);
    settings.stale_time = LONG;
    AnswerCache cache(settings);
    bool away = false;
    const auto ask = [&] {
        cache.Get("question", Deadline(LONG), [&](Answer&) {
            if (away)
                throw ServerFault("away");
        });
    };
    Figures before = Get("answers");
    EXPECT_EQ(before.size(), 4U);
    const auto count = [&](const std::string& origin) {
        return Get("answers")[origin] - before[origin];
    };
    ask();
    EXPECT_EQ(count("server"), 1U);
    away = true;
    while (count("stale") == 0)
        ask();
    EXPECT_EQ(count("server"), 1U);
    EXPECT_EQ(count("joined"), 0U);
    settings.negative_cache_time = LONG;
    AnswerCache fresh(settings);
    before = Get("answers");
    for (int i = 0; i < 3; ++i)
        fresh.Get("question", Deadline(LONG), [](Answer&) {});
    EXPECT_EQ(count("server"), 1U);
    EXPECT_EQ(count("cache"), 2U);
}

TEST_F(ServerReportTest, AChildProcessReportsItsOwnServers) {
    ServerHealth health(1, false, LONG);
    const ServerReport report(health, {"of the parent"});
    const pid_t child = ::fork();
    if (child == 0) {
        const bool none = Get("server_up").empty();
        ServerHealth own(1, false, LONG);
        const ServerReport own_report(own, {"of the child"});
        ::_exit(none && Get("server_up") == Figures{{"of the child", 1}} ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Get("server_up"), (Figures{{"of the parent", 1}}));
}

TEST_F(ServerReportTest, SetsMayComeAndGoMeanwhile) {
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([] {
            for (int round = Rounds(3000); round > 0; --round) {
                ServerHealth health(1, false, LONG);
                const ServerReport report(health, {"db"});
                health.Failed(0, "gone");
                health.Worked(0);
            }
        });
    std::thread reader([&] {
        while (!done)
            EXPECT_LE(Get("server_up").size(), 1U);
    });
    for (std::thread& thread : threads)
        thread.join();
    done = true;
    reader.join();
}

} // namespace
} // namespace kwlookup
