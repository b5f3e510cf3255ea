// SPDX-License-Identifier: MIT
#include "families/sql/SelectQuery.h"
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/FaultyProxy.h"
#include "servers/SqlServerTest.h"
#include "servers/TestAuthority.h"
#include "support/CapturedStandardError.h"

#include <cstdlib>
#include <map>
#include <set>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class PostgresPluginTest : public SqlServerTest<PostgresService> {
protected:
    static std::string SqlIn(const std::string& database, const std::string& statements) {
        return Get().GetServer().Execute(statements, database);
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, SqlServerTest, PostgresService);

TEST_F(PostgresPluginTest, AnswersOfItsOwnTypes) {
    Sql(R"(
        create table bits (number integer, bytes bytea, bool boolean);
        insert into bits values (7, '\x00ff00', true);
        create schema other;
        create table other.answers (address varchar(40), result numeric(5, 2), more timestamp);
        insert into other.answers values ('jdoe', 2.5, '2026-01-02 03:04:05');
        create table padded (address char(20), result text);
        insert into padded values ('jdoe', 'padded');
        grant select on bits, padded, other.answers to kw;
        grant usage on schema other to kw;
    )");
    ExpectAnswer(Item("select number, bytes, bool from bits where number = '$s'"), "7", 0,
                 {true, " 7 \\x00ff00 t", "7"});
    ExpectAnswer(Item(Select("other.answers", "result, more")), "jdoe", 0,
                 {true, " 2.50 2026-01-02 03:04:05", "jdoe"});
    ExpectAnswer(Item(Select("padded")), "jdoe", 0, {true, " padded", "jdoe"});
}

TEST_F(PostgresPluginTest, StatementIsPreparedOnceAConnection) {
    Sql("create view times as select 'times'::text as address,"
        "  string_agg(prepare_time::text, ' ') as result from pg_prepared_statements;"
        "grant select on times to kw");
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("times"), "MaxConnections=1|MaxRows=9"));
    const std::string time = FailureOf(holder, "times");
    EXPECT_THAT(time, StartsWith("found 20"));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(FailureOf(holder, "times"), time);
}

TEST_F(PostgresPluginTest, UserWithACertificate) {
    Sql("create role certified login; grant select on access to certified");
    const TestAuthority authority;
    Server().UseCertificate(authority.ForServer());
    const std::string list =
        "\"postgres:OnError=exception|Hosts=" + Server().GetHost() +
        "|User=certified|Database=postgres|Tls=require|TlsCaFile=" + authority.GetCaFile() + "|";
    const auto with = [&](const std::string& user) {
        const TestCertificate certificate = authority.ForClient(user);
        return list + "TlsCertFile=" + certificate.certificate_file +
               "|TlsKeyFile=" + certificate.key_file + "|" + Get().GetQuery() + '"';
    };
    ExpectWorks(with("certified"));
    EXPECT_THAT(FailureOf(with("another")), HasSubstr("certificate authentication failed"));
    EXPECT_THAT(FailureOf(list + Get().GetQuery() + '"'), HasSubstr("valid client certificate"));
}

TEST_F(PostgresPluginTest, RefusesItems) {
    const std::string select = "|select a from b where c = '$s'";
    ExpectRefused("Charset=klingon" + select,
                  "Wrong Charset setting [klingon]: wait an encoding that PostgreSQL knows");
    ExpectRefused("Hosts=unix:relative" + select, "Wrong Hosts setting");
}

TEST_F(PostgresPluginTest, WhatTheServerRefusesIsAFault) {
    Sql(R"(
        create table hidden (address text, result text);
        create table numbers (address integer, result text);
        insert into numbers values (7, 'seven');
        create table documents (address json, result text);
        create table divided (address text, result integer);
        insert into divided values ('jdoe@corp.lan', 0);
        create view broken as select address, 1 / result as result from divided;
        grant select on numbers, documents, broken to kw;
        create role limited login password 'secret of the test' connection limit 0;
    )");
    EXPECT_EQ(FailureWith(Select("nowhere")), "relation \"nowhere\" does not exist");
    EXPECT_EQ(FailureWith(Select("access", "nothing")), "column \"nothing\" does not exist");
    EXPECT_EQ(FailureWith(Select("access", "Result")), "column \"Result\" does not exist");
    EXPECT_EQ(FailureWith(Select("no.access")), "relation \"no.access\" does not exist");
    EXPECT_EQ(FailureWith(Select("hidden")), "permission denied for table hidden");
    EXPECT_EQ(FailureWith(Select("numbers")),
              "invalid input syntax for type integer: \"jdoe@corp.lan\"");
    EXPECT_THAT(FailureWith(Select("documents")), StartsWith("operator does not exist: json = "));
    EXPECT_EQ(FailureWith(Select("broken")), "division by zero");
    EXPECT_EQ(FailureWith(Select("access"), FOUND, "Database=nowhere"),
              "FATAL:  database \"nowhere\" does not exist");
    EXPECT_EQ(FailureWith(Select("access"), FOUND, "User=limited"),
              "FATAL:  too many connections for role \"limited\"");
    // The connections can be used again.
    ExpectAnswer(Item(Select("numbers")), "7", 0, {true, " seven", "7"});
}

TEST_F(PostgresPluginTest, TooManyRowsAreNotFetched) {
    Sql("create table many (address text, result text);"
        "insert into many select 'many', repeat('x', 1000) from generate_series(1, 100000);"
        "grant select on many to kw");
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("many"), "Hosts=" + proxy.GetHost()));
    EXPECT_EQ(FailureOf(holder, "many"), proxy.GetHost() + ": more rows than MaxRows, 100");
    EXPECT_LT(proxy.GetForwardedBytes(), 200000u);
}

TEST_F(PostgresPluginTest, RowThatTheLibraryLeavesOutIsNoMiss) {
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(List(proxy.GetHost()));
    EXPECT_EQ(FailureOf(holder), "found OK");
    // The row follows five bytes that say that the value was bound, and 32 about the column.
    proxy.SetFault(FaultyProxy::Fault::Flip, proxy.GetForwardedBytes() + 5 + 32, 'D' ^ 'd');
    EXPECT_EQ(FailureOf(holder), "found OK") << "by another connection";
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
}

TEST_F(PostgresPluginTest, PreparesAgainWhatTheServerHasForgotten) {
    Sql("create function forget() returns text language plpgsql as"
        "  $$ begin execute 'deallocate all'; return 'forgotten'; end $$;"
        "create view forgetful as select address, forget() as result from access;"
        "create table grows (address text);"
        "insert into grows values ('jdoe@corp.lan');"
        "grant select on forgetful, grows to kw");
    FaultyProxy proxy(Server().GetPort());
    const std::string settings = "Hosts=" + proxy.GetHost();
    KwLookupHolder holder(m_log);
    holder.Init(Item("select result from forgetful where address = '$s'", settings));
    KwLookupHolder other(m_log);
    other.Init(Item(Get().GetQuery(), settings));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(FailureOf(holder), "found forgotten");
        ExpectWorks(other);
    }
    holder.Init(Item("select * from grows where address = '$s'", settings));
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan");
    Sql("alter table grows add more text default 'more'");
    EXPECT_EQ(FailureOf(holder), "found jdoe@corp.lan more");
    EXPECT_EQ(proxy.GetAcceptedCount(), 1) << "a new connection hides it";
}

TEST_F(PostgresPluginTest, ManyStatementsDoNotFillTheServer) {
    Sql("create view statements as"
        "  select 'count'::text as address, count(*) as result from pg_prepared_statements;"
        "grant select on statements to kw");
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    const std::string settings = "MaxRows=7|Hosts=" + proxy.GetHost();
    KwLookupHolder keeper(m_log); // of the connection
    keeper.Init(Item(Get().GetQuery(), settings));
    EXPECT_EQ(Ask(keeper, "nobody"), Miss());
    std::string columns = "result";
    for (int i = 0; i < 250; ++i, columns += ", result") {
        holder.Init(Item("select " + columns + " from access where address = '$s'", settings));
        EXPECT_EQ(Ask(holder, "nobody"), Miss());
    }
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);
    holder.Init(Item("select result from statements where address = 'count'", settings));
    const Answer answer = Ask(holder, "any");
    ASSERT_TRUE(answer.found);
    EXPECT_LE(std::stoi(answer.res), 100);
}

TEST_F(PostgresPluginTest, BytesThatTheDatabaseCannotHoldAreMisses) {
    const std::string table = "create table access (address text, result text);"
                              "insert into access values ('jdoe@corp.lan', 'OK');"
                              "grant select on access to kw;";
    Sql("create database latin template template0 encoding 'LATIN1' locale 'C'");
    Sql("create database bytes template template0 encoding 'SQL_ASCII' locale 'C'");
    SqlIn("latin", "set client_encoding = utf8;" + table +
                       "insert into access values (E'j\u00f6rg', E'gr\u00fc\u00dfe')");
    SqlIn("bytes", "set client_encoding = sql_ascii;" + table +
                       "insert into access values (E'j\\xf6rg', E'gr\\xfc\\xdf')");
    Sql("create table binary_access (address bytea, result text);"
        "insert into binary_access values ('\\x006aff', 'bytes'), ('\\x5c303030', 'escape');"
        "grant select on binary_access to kw");
    const std::string utf8 = "j\xc3\xb6rg";
    const std::string latin = "j\xf6rg";
    const std::string select = Get().GetQuery();
    ExpectAnswer(Item(select, "Database=latin"), utf8, 0,
                 {true,
                  " gr\xc3\xbc\xc3\x9f"
                  "e",
                  utf8});
    ExpectAnswer(Item(select, "Database=latin|Charset=latin1"), latin, 0,
                 {true,
                  " gr\xfc\xdf"
                  "e",
                  latin});
    // The euro sign and a letter of another alphabet are not in LATIN1.
    for (const char* text : {"\xe2\x82\xac", "\xd0\x96"})
        EXPECT_EQ(AskList(Item(select, "Database=latin"), text), Miss());
    // The column may contain any bytes, but they cannot be searched in UTF-8.
    ExpectAnswer(Item(select, "Database=bytes|Charset=SQL_ASCII"), latin, 0,
                 {true, " gr\xfc\xdf", latin});
    EXPECT_THAT(FailureWith(select, latin, "Database=bytes"),
                StartsWith("invalid byte sequence for encoding \"UTF8\""));
    // A row that cannot be converted is not a miss.
    Sql("insert into access values ('euro', E'\u20ac')");
    EXPECT_THAT(FailureWith(select, "euro", "Charset=latin1"), HasSubstr("has no equivalent"));
    Sql("delete from access where address = 'euro'");
    // Bytes are compared as they are, not as PostgreSQL writes them.
    const std::string binary = "select result from binary_access where address = '$s'";
    ExpectAnswer(Item(binary), "\0j\xff"s, 0, {true, " bytes", "\0j\xff"s});
    ExpectAnswer(Item(binary), "\\000", 0, {true, " escape", "\\000"});
    EXPECT_EQ(AskList(Item(binary), "\\x006aff"), Miss());
}

TEST_F(PostgresPluginTest, NothingOfTheEnvironmentCounts) {
    const std::string home = m_dir.Path(".");
    const std::string pass = m_dir.Write(".pgpass", "*:*:*:*:secret of the test\n");
    ::chmod(pass.c_str(), 0600);
    const std::map<std::string, std::string> variables = {
        {"HOME", home},
        {"PGHOST", "nowhere.example"},
        {"PGHOSTADDR", "192.0.2.1"},
        {"PGPORT", "1"},
        {"PGDATABASE", "nowhere"},
        {"PGUSER", "nobody"},
        {"PGPASSWORD", "secret of the test"},
        {"PGPASSFILE", pass},
        {"PGOPTIONS", "-c search_path=nowhere"},
        {"PGSSLMODE", "verify-full"},
        {"PGSSLROOTCERT", "/nowhere"},
        {"PGSSLCERT", pass},
        {"PGCLIENTENCODING", "latin1"},
        {"PGTARGETSESSIONATTRS", "standby"},
        {"PGCHANNELBINDING", "require"},
        {"PGGSSENCMODE", "require"},
        {"PGAPPNAME", "nobody"},
    };
    const std::string home_before = std::getenv("HOME") ? std::getenv("HOME") : "/";
    for (const auto& [name, value] : variables)
        ::setenv(name.c_str(), value.c_str(), 1);
    ExpectWorks(Item(Get().GetQuery(), "MaxRows=9"));
    std::string login = "User=kw|Database=postgres|";
    const std::string failure =
        FailureOf("\"postgres:OnError=exception|Hosts=" + Server().GetHost() + "|" + login +
                  Get().GetQuery() + "\"");
    EXPECT_THAT(failure, HasSubstr("password authentication failed"));
    for (const auto& [name, value] : variables)
        ::unsetenv(name.c_str());
    ::setenv("HOME", home_before.c_str(), 1);
}

TEST_F(PostgresPluginTest, NoticesAreNotPrinted) {
    Sql("create function tell() returns text language plpgsql as"
        "  $$ begin raise warning 'told'; return 'OK'; end $$;"
        "create view talks as select address, tell() as result from access;"
        "grant select on talks to kw");
    CapturedStandardError captured;
    ExpectAnswer(Item("select result from talks where address = '$s'"), FOUND, 0,
                 {true, " OK", FOUND});
    EXPECT_EQ(captured.GetText(), "");
}

TEST_F(PostgresPluginTest, UnixSocketIsNamedByItsDirectoryToo) {
    const std::string socket = Server().GetSocketPath();
    ExpectWorks(List("unix:" + socket));
    const std::string directory = socket.substr(0, socket.rfind('/'));
    EXPECT_THAT(FailureOf(List("unix:" + directory)), HasSubstr("No such file or directory"));
}

TEST_F(PostgresPluginTest, TheServerIsSentOneStatementForAnyAddress) {
    KwLookupHolder holder(m_log); // its connection is looked at
    AskHostileAddresses("watched", 10000, holder);
    EXPECT_EQ(Sql("select distinct query from pg_stat_activity"
                  "  where usename = 'kw' and query like '%watched%'"),
              "select \"result\" from \"watched\" where \"address\" = $1 limit 101\n");
}

} // namespace
