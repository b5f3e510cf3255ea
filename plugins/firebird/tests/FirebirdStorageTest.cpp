// SPDX-License-Identifier: MIT
#include "plugins/firebird/tests/FirebirdService.h"
#include "servers/StoredColumnsTest.h"

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::HasSubstr;

using FirebirdStorageTest = StoredColumnsTest<FirebirdService>;

TEST_F(FirebirdStorageTest, StoresEveryKindOfValueInEveryTypeOfColumn) {
    const std::string time = "2026-11-22 06:07:08.5";
    const std::string umlauts = "gr\xc3\xbc\xc3\x9f";
    ExpectStored({
        {"smallint", "int", "-42", "-42"},
        {"smallint", "int", "32768", "!arithmetic exception, numeric overflow"},
        {"smallint", "varchar", "42", "42"},
        {"smallint", "varchar", "x", "!conversion error from string \"x\""},
        {"smallint", "timestamp", time, "!conversion error from string"},
        {"bigint", "int", "9223372036854775807", "9223372036854775807"},
        {"numeric(9, 2)", "int", "42", "42.00"},
        {"numeric(9, 2)", "varchar", "2.5", "2.50"},
        {"double precision", "int", "42", "42.00000000000000"},
        {"boolean", "varchar", "true", "TRUE"},
        {"boolean", "int", "1", "!"},
        {"varchar(5)", "int", "42", "42"},
        {"varchar(5)", "int", "123456", "!arithmetic exception, numeric overflow, or string trunc"},
        {"varchar(5)", "varchar", umlauts, umlauts},
        {"varchar(5)", "varchar", umlauts + "en", "!'value' is longer than its column"},
        {"varchar(5)", "varchar", "\xff", "!'value' is not UTF-8"},
        {"varchar(5)", "varchar", "a\0b"s, "a\0b"s},
        {"varchar(40)", "timestamp", time, time},
        {"char(5)", "varchar", "ab", "ab"},
        {"varchar(5) character set ascii", "varchar", "\xc3\xbc", "!"},
        {"varchar(5) character set octets", "varchar", "\0\xff"s, "\0\xff"s},
        {"blob sub_type text", "int", "42", "42"},
        {"blob sub_type text", "varchar", umlauts, umlauts},
        {"blob sub_type text", "timestamp", time, time},
        {"blob sub_type text character set ascii", "varchar", umlauts, "!Cannot transliterate"},
        {"blob sub_type binary", "varchar", "\0\xff"s, "\0\xff"s},
        {"timestamp", "timestamp", "2026-11-22T07:07:08.1234+01:00", "2026-11-22 06:07:08.1234"},
        {"timestamp", "timestamp", "0001-01-01 00:00", "0001-01-01 00:00:00"},
        {"timestamp", "varchar", "2026-11-22 06:07", "2026-11-22 06:07:00"},
        {"timestamp", "varchar", "soon", "!conversion error from string \"soon\""},
        {"timestamp", "int", "42", "!"},
        {"date", "timestamp", time, "2026-11-22"},
        {"time", "timestamp", time, "06:07:08.5"},
    });
}

TEST_F(FirebirdStorageTest, WhatCannotBeStoredIntoIsAnError) {
    MakeTable("readable", "id varchar(9), c integer");
    const auto error = [&](const std::string& statement) {
        return ErrorOfStoring(statement, "a", "1");
    };
    EXPECT_THAT(error("insert into nowhere values (:id<varchar>)"), HasSubstr("Table unknown"));
    EXPECT_THAT(error("insert into readable values (:id<varchar>)"),
                HasSubstr("Count of read-write columns does not equal count of values"));
    EXPECT_THAT(error("insert into readable values (:id<varchar>, :value<int>)"),
                HasSubstr("no permission for INSERT access to TABLE READABLE"));
    EXPECT_EQ(error("insert into readable values (:id<varchar>, :none<int>)"), "'none' is missing");
    EXPECT_THAT(ErrorOf(Item("insert into readable values (:id<varchar>)")),
                HasSubstr("cannot read the statement"));
}

TEST_F(FirebirdStorageTest, StoresIntoFiles) {
    const std::string file = Get().GetDir().Path("stored.fdb");
    FirebirdServer::ExecuteIn(Get().GetDir(), "",
                              "create database '" + file +
                                  "' default character set utf8;\n"
                                  "create table seen (id varchar(9), c integer);\ncommit;\n");
    const auto item = [&file](const std::string& statement) {
        return "\"firebird:OnError=exception|Timeout=60|ConnectTimeout=60|User=sysdba|Database=" +
               file + "|" + statement + "\"";
    };
    KwStorageHolder holder(m_log);
    holder.Init(item("insert into seen values (:id<varchar>, :value<int>)"));
    EXPECT_EQ(StoreError(holder, Record({{"id", "a"}, {"value", "7"}})), "");
    EXPECT_EQ(AskList(item("select c from seen where id = '$s'"), "a").res, " 7");
}

} // namespace
