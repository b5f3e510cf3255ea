// SPDX-License-Identifier: MIT
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

#include <random>
#include <string>
#include <vector>

INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerStorageTest, PostgresService);
INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerThreadsTest, PostgresService);

namespace {

class PostgresStorageTest : public ServerStorageTest<PostgresService> {};

TEST_F(PostgresStorageTest, TimesAreInUtcInColumnsWithAZoneToo) {
    Sql("drop table stored;"
        "create table stored (address bytea, number int, seen timestamptz);"
        "grant insert on stored to kw;"
        "alter role kw set timezone = 'America/New_York';");
    KwStorageHolder holder(m_log);
    holder.Init(Item());
    EXPECT_EQ(StoreError(holder, Row(1, std::string("\0\xff", 2))), "");
    Sql("alter role kw reset timezone");
    EXPECT_EQ(Sql("select address, seen at time zone 'UTC' from stored"),
              "\\x00ff|2026-11-22 06:08:09");
}

TEST_F(PostgresStorageTest, AFullDiskStoresNothing) {
    kwlookup::PostgresServer server;
    server.Execute("create role kw login password 'secret of the test';\n" + Get().GetStored());
    server.LimitFiles(17 << 20);
    std::mt19937_64 random; // the server compresses long texts
    std::vector<KwStorageValuesMap> rows;
    for (int number = 0; number < 20; ++number) {
        std::string address(1 << 20, ' ');
        for (char& c : address)
            c = static_cast<char>('!' + random() % 90);
        rows.push_back(Row(number, address));
    }
    KwStorageHolder holder(m_log);
    holder.Init(Item(server.GetHost()));
    EXPECT_THAT(BatchError(holder, rows),
                testing::AllOf(testing::StartsWith("1"), // at one of the last rows
                               testing::HasSubstr(server.GetHost() + ": could not extend file")));
    EXPECT_EQ(StoreError(holder, Row(100)), "");
    EXPECT_EQ(server.Execute("select number from stored"), "100\n");
}

TEST_F(PostgresStorageTest, AnotherWriterOfTheSameKeyIsWaitedFor) {
    std::thread other([] {
        try {
            Sql("begin; insert into stored values ('other', 1, now()), ('other', 3, now()); select "
                "pg_sleep(3600)");
        } catch (const std::runtime_error&) {
            // It is cancelled.
        }
    });
    const std::string sleeping = " from pg_stat_activity where wait_event = 'PgSleep'";
    while (Sql("select count(*)" + sleeping) == "0")
        std::this_thread::sleep_for(Milliseconds(10));
    KwStorageHolder hasty(m_log), patient(m_log);
    hasty.Init(Item(Server().GetHost(), "Timeout=1|"));
    patient.Init(Item(Server().GetHost(), "Timeout=60|"));
    EXPECT_THAT(StoreError(hasty, Row(3)), testing::HasSubstr("no answer in time"));
    EXPECT_EQ(StoreError(patient, Row(2)), "");
    std::string error = "not done";
    std::thread waits([&] { error = StoreError(patient, Row(1)); });
    Sql("select pg_cancel_backend(pid)" + sleeping);
    waits.join();
    other.join();
    EXPECT_EQ(error, "");
    EXPECT_EQ(Sql("select address, number from stored order by number"),
              "jdoe@corp.lan|1\njdoe@corp.lan|2");
}

} // namespace
