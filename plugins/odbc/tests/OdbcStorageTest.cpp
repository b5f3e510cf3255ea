// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/StoredColumnsTest.h"

namespace {

using namespace std::string_literals;
using testing::HasSubstr;

using OdbcStorageTest = StoredColumnsTest<OdbcService>;

TEST_F(OdbcStorageTest, StoresEveryKindOfValueInEveryTypeOfColumn) {
    const std::string time = "2026-11-22 06:07:08.5";
    const std::string umlauts = "gr\xc3\xbc\xc3\x9f";
    ExpectStored({
        {"smallint", "int", "-42", "-42"},
        {"smallint", "int", "32768", "!out of range"},
        {"smallint", "varchar", "42", "42"},
        {"smallint", "varchar", "x", "!"},
        {"smallint", "timestamp", time, "!"},
        {"bigint", "int", "9223372036854775807", "9223372036854775807"},
        {"numeric(9, 2)", "int", "42", "42.00"},
        {"numeric(9, 2)", "varchar", "2.5", "2.50"},
        {"double precision", "int", "42", "42"},
        {"boolean", "varchar", "true", "1"},
        {"varchar(5)", "int", "42", "42"},
        {"varchar(5)", "varchar", umlauts, umlauts},
        {"varchar(5)", "varchar", umlauts + "en", "!too long"},
        {"varchar(5)", "varchar", "\xff", "!invalid byte sequence"},
        {"varchar(5)", "varchar", "a\0b"s, "!'value' has a NUL byte"},
        {"text", "int", "42", "42"},
        {"text", "varchar", "\\x41", "\\x41"},
        {"text", "timestamp", time, time},
        {"bytea", "varchar", "\\x41", "5c783431"},
        {"bytea", "varchar", "\0\xff"s, "00ff"},
        {"timestamp", "timestamp", "2026-11-22T07:07:08.123456+01:00",
         "2026-11-22 06:07:08.123456"},
        {"timestamp", "varchar", "2026-11-22 06:07", "2026-11-22 06:07:00"},
        {"timestamp", "varchar", "soon", "!"},
        {"date", "timestamp", time, "2026-11-22"},
    });
}

TEST_F(OdbcStorageTest, TimesAreInUtcWhateverTheSessionHas) {
    Sql("alter role kw set timezone = 'America/New_York';\n"
        "create table zoned (id varchar(9), c timestamptz);\n"
        "grant select, insert on zoned to kw;\n");
    EXPECT_EQ(ErrorOfStoring("insert into zoned values (:id<varchar>, :value<timestamp>)", "a",
                             "2026-11-22 06:07:08"),
              "");
    EXPECT_EQ(Sql("select c at time zone 'UTC' from zoned"), "2026-11-22 06:07:08\n");
    Sql("alter role kw reset timezone");
}

TEST_F(OdbcStorageTest, WhatCannotBeStoredIntoIsAnError) {
    MakeTable("readable", "id varchar(9), c integer");
    Sql("create table writable (id varchar(9)); grant insert on writable to kw;\n");
    const auto error = [&](const std::string& statement) {
        return ErrorOfStoring(statement, "a", "1");
    };
    EXPECT_THAT(error("insert into nowhere values (:id<varchar>)"),
                HasSubstr("error of configuration: "));
    EXPECT_EQ(error("insert into readable values (:id<varchar>)"),
              "table readable has 2 columns, and the statement has 1 values");
    EXPECT_THAT(error("insert into readable values (:id<varchar>, :value<int>)"),
                HasSubstr("permission denied for table readable"));
    EXPECT_THAT(error("insert into writable values (:id<varchar>)"),
                HasSubstr("permission denied for table writable"));
    EXPECT_EQ(error("insert into readable values (:id<varchar>, :none<int>)"), "'none' is missing");
}

} // namespace
