// SPDX-License-Identifier: MIT
#include "families/sql/SelectQuery.h"
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/FaultyProxy.h"
#include "servers/HostileAddress.h"
#include "servers/ServerPluginTest.h"
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

class PostgresPluginTest : public ServerPluginTest<PostgresService> {
protected:
    static std::string Sql(const std::string& statements,
                           const std::string& database = "postgres") {
        return Get().GetServer().Execute(statements, database);
    }

    /// A list of one item that executes `statement`.
    static std::string Item(const std::string& statement, const std::string& settings = "") {
        return "\"postgres:OnError=exception|RetryInterval=0|Hosts=" + Server().GetHost() + "|" +
               Get().GetLogin() + "|" + settings + (settings.empty() ? "" : "|") + statement + "\"";
    }

    /// What the search failed with, without the server's name before it.
    std::string FailureWith(const std::string& statement, const std::string& text = FOUND,
                            const std::string& settings = "") {
        KwLookupHolder holder(m_log);
        holder.Init(Item(statement, settings));
        const std::string failure = FailureOf(holder, text);
        const std::string name = Server().GetHost() + ": ";
        return failure.compare(0, name.size(), name) == 0 ? failure.substr(name.size())
                                                          : "without name: " + failure;
    }
};

TEST_F(PostgresPluginTest, Answers) {
    Sql(R"(
        create table answers (address text, result text, more text);
        insert into answers values
            ('jdoe@corp.lan', 'OK', 'more'), ('JDoe@Corp.lan', 'mixed', null),
            ('rows', 'a', '1'), ('rows', '', 'x y'), ('rows', null, null), ('rows', 'b', ''),
            ('null', null, null), ('empty', '', ''),
            ('corp.lan', 'domain', ''), ('jdoe', 'user', ''), ('$', 'dollar', ''),
            ('<jdoe@corp.lan>', 'brackets', ''), (' jdoe ', 'blanks', ''),
            ('jdoe at corp.lan', 'parts', ''), (E'j\u00f6rg@corp.lan', E'gr\u00fc\u00dfe', '');
        create table "select" ("from" integer, "where" bytea, "Mixed" boolean);
        insert into "select" values (7, '\x00ff00', true);
        create schema other;
        create table other.answers (address varchar(40), result numeric(5, 2), more timestamp);
        insert into other.answers values ('jdoe', 2.5, '2026-01-02 03:04:05');
        create table padded (address char(20), result text);
        insert into padded values ('jdoe', 'padded');
        create view view as select address, upper(result) as result from answers;
        grant select on answers, "select", padded, view, other.answers to kw;
        grant usage on schema other to kw;
    )");
    struct Case {
        std::string statement;
        std::string text;
        int flags;
        Answer answer;
    };
    const std::string statement = "select result from answers where address = '$s'";
    const std::string where = " from answers where address = '$s'";
    const std::string result = "select result from answers where address = ";
    const Case cases[] = {
        {statement, "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {statement, "JDOE@corp.lan", 0, Miss()},
        {statement, "JDoe@Corp.lan", 0, {true, " mixed", "JDoe@Corp.lan"}},
        {statement, "jdoe@corp.la", 0, Miss()},
        {statement, "", 0, Miss()},
        {statement,
         "j\xc3\xb6rg@corp.lan",
         0,
         {true,
          " gr\xc3\xbc\xc3\x9f"
          "e",
          "j\xc3\xb6rg@corp.lan"}},
        {"SELECT result FROM answers WHERE address = '$s'", "jdoe", 0, {true, " user", "jdoe"}},
        {"select result, more from other.answers where address = '$s'",
         "jdoe",
         0,
         {true, " 2.50 2026-01-02 03:04:05", "jdoe"}},
        {"select * from view where address = '$s'", "jdoe", 0, {true, " jdoe USER", "jdoe"}},
        {"select from, where, Mixed from select where from = '$s'",
         "7",
         0,
         {true, " 7 \\x00ff00 t", "7"}},
        {"select result from padded where address = '$s'", "jdoe", 0, {true, " padded", "jdoe"}},
        {"select result, more" + where, "jdoe@corp.lan", 0, {true, " OK more", "jdoe@corp.lan"}},
        {statement, "rows", 0, {true, " a b", "rows"}},
        {"select result, more" + where, "rows", 0, {true, " a 1 x y b", "rows"}},
        {statement, "null", 0, {true, "", "null"}},
        {"select result, more" + where, "empty", 0, {true, "", "empty"}},
        {statement, "<jdoe@corp.lan>", 0, {true, " brackets", "<jdoe@corp.lan>"}},
        {statement, "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", "jdoe@corp.lan"}},
        {result + "'$d'", "x@corp.lan", 0, {true, " domain", "corp.lan"}},
        {result + "'$d'", "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {result + "'$d'", "jdoe", 0, Miss()},
        {result + "'$u'", "jdoe@x", 0, {true, " user", "jdoe"}},
        {result + "'$u'", "@x", 0, Miss()},
        {result + "'$u at $d'", "jdoe@corp.lan", 0, {true, " parts", "jdoe at corp.lan"}},
        {result + "' $u '", "jdoe@x", 0, {true, " blanks", " jdoe "}},
        {result + "'$$'", "any", 0, {true, " dollar", "$"}},
        {result + "'jdoe'", "any", 0, {true, " user", "jdoe"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.statement + " on " + test.text);
        ExpectAnswer(Item(test.statement), test.text, test.flags, test.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(PostgresPluginTest, RefusesItems) {
    const std::string select = "select a from b where c = '$s'";
    const std::pair<std::string, std::string> cases[] = {
        {"select a from b", "cannot read the statement"},
        {"select a from b where c = '$x'", "unrecognize expansion"},
        {"select a-b from b where c = '$s'", "cannot read the statement"},
        {"Hosts=, |" + select, "Wrong Hosts setting []"},
        {"Hosts=[|" + select, "Wrong Hosts setting"},
        {"Hosts=a:0|" + select, "Wrong Hosts setting"},
        {"Hosts=unix:relative|" + select, "Wrong Hosts setting"},
        {"Charset=klingon|" + select,
         "Wrong Charset setting [klingon]: wait an encoding that PostgreSQL knows"},
        {"Tls=maybe|" + select, "Wrong Tls setting"},
        {"TlsKeyFile=/x|" + select, "TlsKeyFile is set without TlsCertFile"},
        {"Timeout=0|" + select, "Timeout must be from 1 to"},
        {"MaxRows=0|" + select, "MaxRows must be at least 1"},
        {"MaxConnections=0|" + select, "MaxConnections must be from 1 to"},
        {"Colour=red|" + select, "Colour"},
    };
    for (const auto& [rest, error] : cases)
        EXPECT_THAT(ErrorOf("\"postgres:Hosts=127.0.0.1|" + rest + "\""), HasSubstr(error)) << rest;
}

TEST_F(PostgresPluginTest, WhatTheServerRefusesIsAFault) {
    Sql(R"(
        create table secrets (address text, result text);
        create table numbers (address integer, result text);
        insert into numbers values (7, 'seven');
        create table documents (address json, result text);
        create table divided (address text, result integer);
        insert into divided values ('jdoe@corp.lan', 0);
        create view broken as select address, 1 / result as result from divided;
        grant select on numbers, documents, broken to kw;
        create role limited login password 'secret of the test' connection limit 0;
    )");
    const auto select = [](const std::string& table, const std::string& column = "result") {
        return "select " + column + " from " + table + " where address = '$s'";
    };
    EXPECT_EQ(FailureWith(select("nowhere")), "relation \"nowhere\" does not exist");
    EXPECT_EQ(FailureWith(select("access", "nothing")), "column \"nothing\" does not exist");
    EXPECT_EQ(FailureWith(select("access", "Result")), "column \"Result\" does not exist");
    EXPECT_EQ(FailureWith(select("no.access")), "relation \"no.access\" does not exist");
    EXPECT_EQ(FailureWith(select("secrets")), "permission denied for table secrets");
    EXPECT_EQ(FailureWith(select("numbers")),
              "invalid input syntax for type integer: \"jdoe@corp.lan\"");
    EXPECT_THAT(FailureWith(select("documents")), StartsWith("operator does not exist: json = "));
    EXPECT_EQ(FailureWith(select("broken")), "division by zero");
    EXPECT_EQ(FailureWith(select("access"), FOUND, "Database=nowhere"),
              "FATAL:  database \"nowhere\" does not exist");
    EXPECT_EQ(FailureWith(select("access"), FOUND, "User=limited"),
              "FATAL:  too many connections for role \"limited\"");
    // The connections can be used again.
    ExpectAnswer(Item(select("numbers")), "7", 0, {true, " seven", "7"});
    Sql("revoke select on numbers from kw");
    EXPECT_EQ(FailureWith(select("numbers"), "7"), "permission denied for table numbers");
    // Under OnError=ignore they are misses with a line in the log.
    RecordingLog::Reset();
    KwLookupHolder holder(m_log);
    holder.Init(Item(select("nowhere"), "OnError=ignore"));
    EXPECT_EQ(Ask(holder, FOUND), Miss());
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR),
                ElementsAre("lookup_postgres: " + Server().GetHost() +
                            ": relation \"nowhere\" does not exist"));
}

TEST_F(PostgresPluginTest, TooManyRowsAreAFaultAndAreNotFetched) {
    Sql("create table many (address text, result text);"
        "insert into many select 'many', repeat('x', 1000) from generate_series(1, 100000);"
        "insert into many select 'four', 'x' from generate_series(1, 4);"
        "grant select on many to kw");
    const std::string select = "select result from many where address = '$s'";
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(select, "Hosts=" + proxy.GetHost()));
    EXPECT_EQ(FailureOf(holder, "many"), proxy.GetHost() + ": more rows than MaxRows, 100");
    EXPECT_LT(proxy.GetForwardedBytes(), 200000u);
    EXPECT_EQ(FailureWith(select, "four", "MaxRows=3"), "more rows than MaxRows, 3");
    ExpectAnswer(Item(select, "MaxRows=4"), "four", 0, {true, " x x x x", "four"});
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
    Sql("set client_encoding = utf8;" + table +
            "insert into access values (E'j\u00f6rg', E'gr\u00fc\u00dfe')",
        "latin");
    Sql("set client_encoding = sql_ascii;" + table +
            "insert into access values (E'j\\xf6rg', E'gr\\xfc\\xdf')",
        "bytes");
    Sql("create table binary_access (address bytea, result text);"
        "insert into binary_access values ('\\x006aff', 'bytes'), ('\\x5c303030', 'escape');"
        "grant select on binary_access to kw");
    const std::string utf8 = "j\xc3\xb6rg";
    const std::string latin = "j\xf6rg";
    const std::string select = Get().GetQuery();
    for (const std::string& text :
         {"jdoe@corp.lan\0"s, "\0jdoe@corp.lan"s, "\0"s, "\xff\xfe"s, "\xc0\xa7"s, "\xed\xa0\x80"s,
          "\xf4\x90\x80\x80"s, "jdoe@corp.lan\xc3"s, latin, "'\xc0"s})
        EXPECT_EQ(AskList(Item(select), text), Miss());
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
    // Any bytes may stand there, but in UTF-8 they cannot be asked for.
    ExpectAnswer(Item(select, "Database=bytes|Charset=SQL_ASCII"), latin, 0,
                 {true, " gr\xfc\xdf", latin});
    EXPECT_THAT(FailureWith(select, latin, "Database=bytes"),
                StartsWith("invalid byte sequence for encoding \"UTF8\""));
    // A row that cannot be told is not a miss.
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

TEST_F(PostgresPluginTest, HostileAddressesMatchNothingElse) {
    const std::set<std::string> stored = {"jdoe@corp.lan", "*", "%", "_", "'", "\"", "corp.lan"};
    Sql("create table hostile (address text, result text);"
        "insert into hostile values ('jdoe@corp.lan'), ('*'), ('%'), ('_'), (''''), ('\"'),"
        "  ('corp.lan');"
        "update hostile set result = address;"
        "grant select, insert, update, delete, truncate on hostile to kw");
    const std::string statement = "select result from hostile where address = '$s'";
    KwLookupHolder holder(m_log);
    holder.Init(Item(statement, "Timeout=60"));
    RecordingLog::Silence();
    int found = 0;
    for (unsigned i = 0; i < 20000; ++i) {
        const std::string address = HostileAddress(i);
        const bool expected = stored.count(address) != 0;
        const Answer answer = Ask(holder, address);
        ASSERT_EQ(answer.res, expected ? " " + address : "") << i;
        ASSERT_EQ(answer.found, expected) << i << ": " << address.substr(0, 200);
        found += answer.found;
    }
    EXPECT_GT(found, 20);
    EXPECT_EQ(Sql("select count(*) from hostile"), std::to_string(stored.size()) + "\n");
    EXPECT_EQ(Sql("select distinct query from pg_stat_activity"
                  "  where usename = 'kw' and query like '%hostile%'"),
              "select \"result\" from \"hostile\" where \"address\" = $1 limit 101\n");
}

} // namespace
