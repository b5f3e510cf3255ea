// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/SqlServerTest.h"

using namespace kwlookup;

INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, SqlServerTest, OdbcService);

namespace {

class OdbcPostgresTest : public SqlServerTest<OdbcService> {};

TEST_F(OdbcPostgresTest, ServerAnswers) {
    ExpectWorks(List(Server().GetHost()));
    Server().Restart();
    ExpectWorks(List(Server().GetHost()));
}

TEST_F(OdbcPostgresTest, ServerThatStopsFailsSearchesInTime) {
    KwLookupHolder kept(m_log);
    kept.Init(List(Server().GetHost(), LIMITED));
    ExpectWorksInTime(kept);
    Server().Stop();
    ExpectFailsInTime(kept, "no answer in time");
    Server().Continue();
    ExpectWorksInTime(kept);
}

TEST_F(OdbcPostgresTest, PreparesAgainWhatTheServerHasForgotten) {
    MakeTable("grows", "address text", {"'jdoe@corp.lan'"});
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("grows", "*")));
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan");
    Sql("alter table grows add more text default 'more'");
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan more");
}

TEST_F(OdbcPostgresTest, WrongConfigurationIsSaidToBeOne) {
    EXPECT_THAT(FailureWith(Select("nowhere")), testing::StartsWith("error of configuration: "));
}

} // namespace
