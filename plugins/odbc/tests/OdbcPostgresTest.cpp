// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/FaultyProxy.h"
#include "servers/SqlServerTest.h"
#include "servers/TestAuthority.h"

#include <chrono>
#include <filesystem>
#include <iterator>
#include <list>
#include <map>
#include <string>
#include <thread>

using namespace kwlookup;

INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, SqlServerTest, OdbcService);

namespace {

class OdbcPostgresTest : public SqlServerTest<OdbcService> {};

std::ptrdiff_t CountThreads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

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

TEST_F(OdbcPostgresTest, ConnectionsHaveNoThreadsOfTheirOwn) {
    constexpr int CONNECTIONS = 6;
    constexpr int SHARED = 2; // one thread closes idle connections, one watches the limits
    const auto before = CountThreads();
    std::list<KwLookupHolder> holders;
    for (int i = 0; i < CONNECTIONS; ++i)
        holders.emplace_back(m_log).Init(
            List(Server().GetHost(), "Timeout=" + std::to_string(20 + i)));
    std::list<std::thread> searches;
    for (const KwLookupHolder& holder : holders)
        searches.emplace_back([&] { EXPECT_EQ(FailureOf(holder), "found OK"); });
    for (std::thread& search : searches)
        search.join();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (CountThreads() > before + SHARED && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_LE(CountThreads(), before + SHARED);
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
    std::string list = List(Server().GetHost());
    const std::string password = "secret of the test";
    list.replace(list.find(password), password.size(), "wrong");
    // The driver says no more than that there is no connection.
    EXPECT_THAT(ReasonOf(list), testing::HasSubstr("password authentication failed"));
}

TEST_F(OdbcPostgresTest, DriverVerifiesTheCertificate) {
    const TestAuthority authority;
    const TestAuthority foreign("Foreign Authority");
    const auto list = [&](const TestAuthority& trusted) {
        std::string with = List(Server().GetHost());
        const std::string database = ";Database=postgres";
        return with.replace(with.find(database), database.size(),
                            database +
                                ";SSLmode=verify-full;pqopt=sslrootcert=" + trusted.GetCaFile());
    };
    Server().UseCertificate(authority.ForServer());
    ExpectWorks(list(authority));
    EXPECT_THAT(FailureOf(list(foreign)), testing::HasSubstr("certificate verify failed"));
    Server().UseCertificate(authority.WithWrongName());
    EXPECT_THAT(FailureOf(list(authority)), testing::HasSubstr("does not match host name"));
}

TEST_F(OdbcPostgresTest, StateDecidesWhetherAnotherServerIsAsked) {
    const std::map<std::string, bool> states = {
        {"08006", true},  {"40001", true},  {"40P01", true},  {"53300", true},
        {"57P01", true},  {"HYT00", true},  {"22000", false}, {"28000", false},
        {"42501", false}, {"42P01", false}, {"XX000", false}, {"HY000", false}};
    std::string rows;
    for (const auto& [state, another] : states)
        rows += (rows.empty() ? "('" : ", ('") + state + "')";
    Sql("create function fail(state text) returns text language plpgsql as "
        "$$ begin raise exception 'as asked' using errcode = state; end $$;\n"
        "create table states (address text);\n"
        "insert into states values " +
        rows + ";\ncreate view failing as select address, fail(address) as result from states;\n" +
        GrantOf("select", "failing"));
    for (const auto& [state, another] : states) {
        FaultyProxy first(Server().GetPort());
        FaultyProxy second(Server().GetPort());
        const std::string list =
            ListOf(Select("failing"), first.GetHost() + ", " + second.GetHost());
        KwLookupHolder holder(m_log);
        holder.Init(list);
        const std::string failure = FailureOf(holder, state);
        EXPECT_THAT(failure, testing::HasSubstr("as asked"));
        const bool is_of_configuration =
            state.compare(0, 2, "28") == 0 || state.compare(0, 2, "42") == 0;
        EXPECT_EQ(failure.find("error of configuration: ") != std::string::npos,
                  is_of_configuration)
            << failure;
        EXPECT_EQ(second.GetAcceptedCount() > 0, another) << state;
    }
}

} // namespace
