// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/StoredColumnsTest.h"

namespace {

using namespace std::string_literals;

using MysqlColumnsTest = StoredColumnsTest<MysqlService>;

TEST_F(MysqlColumnsTest, StoreEveryKindOfValue) {
    const std::string time = "2026-11-22 06:07:08";
    const std::string umlauts = "gr\xc3\xbc\xc3\x9f";
    const std::string large(1 << 20, 'x');
    ExpectStored({
        {"smallint", "int", "-42", "-42"},
        {"smallint", "int", "32768", "!Out of range"},
        {"smallint", "varchar", "42", "42"},
        {"smallint", "varchar", "x", "!Incorrect integer value"},
        {"smallint", "timestamp", time, "!"},
        {"bigint", "int", "9223372036854775807", "9223372036854775807"},
        {"bigint unsigned", "int", "-1", "!Out of range"},
        {"decimal(9, 2)", "int", "42", "42.00"},
        {"decimal(9, 2)", "varchar", "2.5", "2.50"},
        {"double", "int", "42", "42"},
        {"enum('a', 'b')", "varchar", "b", "b"},
        {"enum('a', 'b')", "varchar", "c", "!Data truncated"},
        {"varchar(5) character set utf8mb4", "int", "42", "42"},
        {"varchar(5) character set utf8mb4", "int", "123456", "!Data too long"},
        {"varchar(5) character set utf8mb4", "varchar", umlauts, umlauts},
        {"varchar(5) character set utf8mb4", "varchar", umlauts + "en", "!Data too long"},
        {"varchar(5) character set utf8mb4", "varchar", "\xff", "!Incorrect string value"},
        {"varchar(5) character set utf8mb4", "varchar", "a\0b"s, "a\0b"s},
        {"varchar(5) character set ascii", "varchar", "\xc3\xbc", "!Incorrect string value"},
        {"varbinary(9)", "varchar", "\0\xff"s, "\0\xff"s},
        {"mediumtext", "varchar", large, large},
        {"mediumblob", "varchar", large + "\0\xff"s, large + "\0\xff"s},
        {"mediumtext", "timestamp", time, time},
        {"datetime(6)", "timestamp", "2026-11-22T07:07:08.123456+01:00",
         "2026-11-22 06:07:08.123456"},
        {"datetime", "varchar", "2026-11-22 06:07", "2026-11-22 06:07:00"},
        {"datetime", "varchar", "soon", "!Incorrect datetime value"},
        {"datetime", "int", "42", "!Incorrect datetime value"},
        {"date", "timestamp", time, "2026-11-22"},
        {"time", "timestamp", time, "06:07:08"},
    });
}

} // namespace
