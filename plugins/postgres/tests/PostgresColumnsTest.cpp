// SPDX-License-Identifier: MIT
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/StoredColumnsTest.h"

namespace {

using namespace std::string_literals;

using PostgresColumnsTest = StoredColumnsTest<PostgresService>;

TEST_F(PostgresColumnsTest, StoreEveryKindOfValue) {
    const std::string time = "2026-11-22 06:07:08.5";
    const std::string umlauts = "gr\xc3\xbc\xc3\x9f";
    const std::string large(1 << 20, 'x');
    ExpectStored({
        {"smallint", "int", "-42", "-42"},
        {"smallint", "int", "32768", "!out of range"},
        {"smallint", "varchar", "42", "42"},
        {"smallint", "varchar", "x", "!invalid input syntax"},
        {"smallint", "timestamp", time, "!invalid input syntax"},
        {"bigint", "int", "9223372036854775807", "9223372036854775807"},
        {"numeric(9, 2)", "int", "42", "42.00"},
        {"numeric(9, 2)", "varchar", "2.5", "2.50"},
        {"double precision", "int", "42", "42"},
        {"boolean", "varchar", "true", "t"},
        {"boolean", "varchar", "perhaps", "!invalid input syntax"},
        {"varchar(5)", "int", "42", "42"},
        {"varchar(5)", "int", "123456", "!too long"},
        {"varchar(5)", "varchar", umlauts, umlauts},
        {"varchar(5)", "varchar", umlauts + "en", "!too long"},
        {"varchar(5)", "varchar", "\xff", "!invalid byte sequence"},
        {"varchar(5)", "varchar", "a\0b"s, "!'value' has a NUL byte"},
        {"text", "varchar", "\\x41", "\\x41"},
        {"text", "varchar", large, large},
        {"text", "timestamp", time, time},
        {"bytea", "varchar", "\\x41", "\\x5c783431"},
        {"bytea", "varchar", "\0\xff"s, "\\x00ff"},
        {"timestamp", "timestamp", "2026-11-22T07:07:08.123456+01:00",
         "2026-11-22 06:07:08.123456"},
        {"timestamp", "varchar", "2026-11-22 06:07", "2026-11-22 06:07:00"},
        {"timestamp", "varchar", "soon", "!invalid input syntax"},
        {"timestamp", "int", "42", "!out of range"},
        {"date", "timestamp", time, "2026-11-22"},
        {"time", "timestamp", time, "06:07:08.5"},
        {"uuid", "varchar", "a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11",
         "a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11"},
    });
}

} // namespace
