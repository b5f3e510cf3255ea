// SPDX-License-Identifier: MIT
#include "plugins/firebird/tests/FirebirdService.h"
#include "servers/SqlServerTest.h"

#include <thread>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using FirebirdPluginTest = SqlServerTest<FirebirdService>;

INSTANTIATE_TYPED_TEST_SUITE_P(Firebird, SqlServerTest, FirebirdService);

TEST_F(FirebirdPluginTest, ColumnsOfAllTypesComeAsText) {
    Sql("create table types (address char(20) character set utf8, small smallint,"
        "  price numeric(9, 2), big bigint, yes boolean, moment timestamp, fraction double "
        "precision,"
        "  padded char(9), words blob sub_type text character set utf8, more varchar(9));\n"
        "insert into types values ('jdoe', -7, 2.5, 9223372036854775807, true,"
        "  '2026-01-02 03:04:05', 0.5, 'p', 'gr\xc3\xbc\xc3\x9f"
        "e', null);\n"
        "grant select on types to kw;\n");
    const auto select = [](const std::string& columns) {
        return "select " + columns + " from types where address = '$s'";
    };
    ExpectAnswer(Item(select("small, price, big, yes, padded, words, more")), "jdoe", 0,
                 {true,
                  " -7 2.50 9223372036854775807 TRUE p gr\xc3\xbc\xc3\x9f"
                  "e",
                  "jdoe"});
    ExpectAnswer(Item(select("moment")), "jdoe", 0, {true, " 2026-01-02 03:04:05", "jdoe"});
    ExpectAnswer(Item(select("fraction")), "jdoe", 0, {true, " 0.5000000000000000", "jdoe"});
    EXPECT_TRUE(AskList(Item(select("*")), "jdoe").found);
    // More columns than the first description has room for.
    std::string columns = "small";
    std::string result = " -7";
    for (int i = 0; i < 40; ++i) {
        columns += ", small";
        result += " -7";
    }
    ExpectAnswer(Item(select(columns)), "jdoe", 0, {true, result, "jdoe"});
}

TEST_F(FirebirdPluginTest, LongTextsComeWhole) {
    Sql("create table long_texts (address varchar(20), words blob sub_type text);\n"
        "insert into long_texts values ('a', rpad('', 8000, 'x'));\n"
        "update long_texts set words = words || words || words || words || words;\n"
        "grant select on long_texts to kw;\n");
    EXPECT_EQ(AskList(Item("select words from long_texts where address = '$s'"), "a").res,
              " " + std::string(40000, 'x'));
}

TEST_F(FirebirdPluginTest, NumbersAreComparedAsNumbers) {
    Sql("create table numbers (address integer, price numeric(9, 2), moment timestamp,"
        "  result varchar(9));\n"
        "insert into numbers values (7, 7, null, 'seven');\n"
        "grant select on numbers to kw;\n");
    const std::string select = "select result from numbers where address = '$s'";
    ExpectAnswer(Item(select), "7", 0, {true, " seven", "7"});
    ExpectAnswer(Item("select result from numbers where price = '$s'"), "7", 0,
                 {true, " seven", "7"});
    for (const char* text : {"7abc", " 7", "07", "7.0", "+7", "x"})
        EXPECT_THAT(FailureWith(select, text), HasSubstr("the value is no whole number")) << text;
    EXPECT_THAT(FailureWith("select result from numbers where moment = '$s'", "7"),
                StartsWith("the condition's column holds neither texts nor whole numbers"));
}

TEST_F(FirebirdPluginTest, TextsThatTheColumnCannotHoldAreMisses) {
    Sql("create table narrow (address varchar(10) character set ascii, result varchar(9));\n"
        "insert into narrow values ('jdoe', 'OK');\n"
        "create table bytes (address varchar(10) character set octets, result varchar(9));\n"
        "insert into bytes values (x'00ff', 'OK');\n"
        "grant select on narrow to kw; grant select on bytes to kw;\n");
    const std::string select = Select("narrow");
    ExpectAnswer(Item(select), "jdoe", 0, {true, " OK", "jdoe"});
    for (const std::string& text : {"j\xc3\xb6"s, "\xff"s, "elevenchars"s, std::string(100000, 'x'),
                                    "jdoe\xc3"s, "jdoe\0"s, "jdoe "s})
        EXPECT_EQ(AskList(Item(select), text), Miss()) << text.substr(0, 20);
    ExpectAnswer(Item(Select("bytes")), "\0\xff"s, 0, {true, " OK", "\0\xff"s});
}

TEST_F(FirebirdPluginTest, FilesAreOpenedWithoutAServer) {
    const std::string file = Get().GetDir().Path("file.fdb");
    FirebirdServer::ExecuteIn(Get().GetDir(), "",
                              "create database '" + file +
                                  "' default character set utf8;\n"
                                  "create table access (address varchar(99), result varchar(9));\n"
                                  "insert into access values ('jdoe@corp.lan', 'OK');\n"
                                  "commit;\n");
    const std::string item = "\"firebird:OnError=exception|RetryInterval=0|Timeout=60|"
                             "ConnectTimeout=60|User=sysdba|Database=";
    ExpectWorks(item + file + "|" + Get().GetQuery() + "\"");
    EXPECT_THAT(FailureOf(item + file + ".none|" + Get().GetQuery() + "\""),
                StartsWith("embedded: "));
}

TEST_F(FirebirdPluginTest, RefusesItems) {
    const std::string select = "select a from b where c = '$s'";
    const std::pair<std::string, std::string> cases[] = {
        {"Database=x|select a from b", "cannot read the statement"},
        {"Database=x|select a from b where c = '$x'", "unrecognize expansion"},
        {select, "Database is not set"},
        {"Database=x|Hosts=a|" + select, "User is not set"},
        {"Database=x|Hosts=unix:/a|" + select, "Hosts has a unix socket"},
        {"Database=x|Hosts=[|" + select, "Wrong Hosts setting"},
        {"Database=x|Tls=require|" + select, "Firebird has no TLS"},
        {"Database=x|Charset=klingon|" + select, "Wrong Charset setting [klingon]"},
        {"Database=x|Role=" + std::string(256, 'x') + "|" + select, "at most 255 bytes"},
        {"Database=x|Timeout=0|" + select, "Timeout must be from 1 to"},
        {"Database=x|Colour=red|" + select, "Colour"},
    };
    for (const auto& [rest, error] : cases)
        EXPECT_THAT(ErrorOf("\"firebird:" + rest + "\""), HasSubstr(error)) << rest;
}

TEST_F(FirebirdPluginTest, RolesGiveRights) {
    Sql("create table of_role (address varchar(20), result varchar(9));\n"
        "insert into of_role values ('a', 'OK');\n"
        "create role reader; grant select on of_role to reader; grant reader to kw;\n");
    const std::string select = "select result from of_role where address = '$s'";
    ExpectAnswer(Item(select, "Role=reader"), "a", 0, {true, " OK", "a"});
    EXPECT_THAT(FailureWith(select, "a"), HasSubstr("no permission for"));
}

TEST_F(FirebirdPluginTest, FaultsTellTheReason) {
    EXPECT_THAT(FailureWith(Select("nowhere")), StartsWith("Dynamic SQL Error: "));
    EXPECT_THAT(FailureWith(Select("access", "nothing")), HasSubstr("Column unknown"));
    EXPECT_THAT(FailureWith(Get().GetQuery(), FOUND, "Database=nowhere"), HasSubstr("nowhere"));
}

TEST_F(FirebirdPluginTest, StatementThatTakesTooLongIsCancelled) {
    Sql("set term ^;\n"
        "create procedure slow returns (address varchar(20), result varchar(9)) as\n"
        "  declare i bigint = 0;\n"
        "begin\n"
        "  while (i < 100000000000) do i = i + 1;\n"
        "  suspend;\n"
        "end^\n"
        "set term ;^\n"
        "create view slow_view (address, result) as select address, result from slow;\n"
        "grant select on slow_view to kw; grant execute on procedure slow to view slow_view;\n");
    KwLookupHolder holder(m_log);
    holder.Init(Item("select result from slow_view where address = '$s'", "Timeout=1"));
    ExpectFailsInTime(holder, "no answer in time");
    ExpectWorks(Item(Get().GetQuery(), "MaxRows=7"));
    // The server ends it too.
    const auto runs = [] {
        return Sql("select 'runs' from mon$statements where mon$state <> 0 and"
                   "  mon$attachment_id <> current_connection and mon$sql_text containing 'slow';")
                   .find("runs") != std::string::npos;
    };
    for (int i = 0; i < 600 && runs(); ++i)
        std::this_thread::sleep_for(Milliseconds(100));
    EXPECT_FALSE(runs());
}

} // namespace
