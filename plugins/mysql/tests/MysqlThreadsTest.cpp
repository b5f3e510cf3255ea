// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerStorageTest, MysqlService);
INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerThreadsTest, MysqlService);

namespace {

class MysqlStorageTest : public ServerStorageTest<MysqlService> {};

TEST_F(MysqlStorageTest, TableWithoutTransactionsKeepsTheRecordsBeforeTheOneThatFailed) {
    ExpectKeptWithoutTransactions();
}

TEST_F(MysqlStorageTest, AnotherWriterOfTheSameKeyIsWaitedFor) {
    std::thread other([] {
        try {
            Sql("begin; insert into stored values ('other', 1, now()), ('other', 3, now()); select "
                "sleep(3600)");
        } catch (const std::runtime_error&) {
            // It is killed.
        }
    });
    std::string sleeping;
    while (sleeping.empty()) {
        std::this_thread::sleep_for(Milliseconds(10));
        sleeping = Sql("select id from information_schema.processlist where state = 'User sleep'");
    }
    KwStorageHolder hasty(m_log), patient(m_log);
    hasty.Init(Item(Server().GetHost(), "Timeout=1|"));
    patient.Init(Item(Server().GetHost(), "Timeout=60|"));
    EXPECT_THAT(StoreError(hasty, Row(3)), testing::HasSubstr("no answer in time"));
    EXPECT_EQ(StoreError(patient, Row(2)), "");
    std::string error = "not done";
    std::thread waits([&] { error = StoreError(patient, Row(1)); });
    Sql("kill " + sleeping);
    waits.join();
    other.join();
    EXPECT_EQ(error, "");
    EXPECT_EQ(Sql("select address, number from stored order by number"),
              "jdoe@corp.lan\t1\njdoe@corp.lan\t2");
}

} // namespace
