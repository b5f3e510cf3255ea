// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/OdbcDriver.h"
#include "servers/StoredColumnsTest.h"

#include <string>

// Another program has these tests for a driver; here only what differs is tested.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SqlServerTest);

namespace {

/// MariaDB, asked by way of its driver.
class OdbcMariaService : public MysqlService {
public:
    std::string GetType() const { return "odbc"; }
    std::string GetLogin() const {
        return "Connection=Driver=" + kwlookup::OdbcDriver("libmaodbc.so") +
               ";Server=$h;Port=$p;Database=test|User=kw|Password=secret of the test";
    }
};

using OdbcMariaTest = StoredColumnsTest<OdbcMariaService>;

TEST_F(OdbcMariaTest, Answers) {
    using namespace std::string_literals;
    ExpectWorks(List(Server().GetHost()));
    const std::string item = Item(Get().GetQuery());
    for (const std::string& text : {"jdoe@corp.lan\0"s, "\xff"s, "' or '1'='1"s, "\\"s})
        EXPECT_EQ(AskList(item, text), Miss()) << text;
    EXPECT_THAT(FailureWith(Select("access", "nothing")), testing::HasSubstr("Unknown column"));
}

TEST_F(OdbcMariaTest, StoresEveryKindOfValueInEveryTypeOfColumn) {
    using namespace std::string_literals;
    const std::string time = "2026-11-22 06:07:08";
    ExpectStored({
        {"smallint", "int", "-42", "-42"},
        {"smallint", "int", "32768", "!Out of range"},
        {"smallint", "varchar", "x", "!Incorrect integer value"},
        {"bigint", "int", "9223372036854775807", "9223372036854775807"},
        {"varchar(5) character set utf8mb4", "varchar", "gr\u00fc\u00df", "gr\u00fc\u00df"},
        {"varchar(5) character set utf8mb4", "varchar", "123456", "!Data too long"},
        {"varchar(5) character set utf8mb4", "varchar", "a\0b"s, "!'value' has a NUL byte"},
        {"mediumtext", "varchar", std::string(1 << 20, 'x'), std::string(1 << 20, 'x')},
        {"datetime", "timestamp", "2026-11-22T07:07:08+01:00", time},
        {"datetime", "varchar", "soon", "!Incorrect datetime value"},
    });
}

} // namespace
