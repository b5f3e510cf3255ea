// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcMariaService.h"
#include "servers/ServerStorageTest.h"
#include "servers/SqlServerTest.h"
#include "servers/StoredColumnsTest.h"

#include <string>

// This driver's calls are left behind in their threads when they take too long.
INSTANTIATE_TYPED_TEST_SUITE_P(OdbcMaria, ServerStorageTest, OdbcMariaService);
INSTANTIATE_TYPED_TEST_SUITE_P(OdbcMaria, SqlServerTest, OdbcMariaService);

namespace {

using OdbcMariaTest = StoredColumnsTest<OdbcMariaService>;

TEST_F(OdbcMariaTest, Answers) {
    using namespace std::string_literals;
    ExpectWorks(List(Server().GetHost()));
    const std::string item = Item(Get().GetQuery());
    for (const std::string& text : {"jdoe@corp.lan\0"s, "\xff"s, "' or '1'='1"s, "\\"s})
        EXPECT_EQ(AskList(item, text), Miss()) << text;
    EXPECT_THAT(FailureWith(Select("access", "nothing")), testing::HasSubstr("Unknown column"));
}

TEST_F(OdbcMariaTest, WrongConfigurationIsSaidToBeOne) {
    std::string list = List(Server().GetHost());
    const std::string password = "secret of the test";
    list.replace(list.find(password), password.size(), "wrong");
    EXPECT_THAT(ReasonOf(list), testing::StartsWith("error of configuration: "));
    EXPECT_THAT(FailureWith(Select("nowhere")), testing::StartsWith("error of configuration: "));
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

class OdbcMariaStorageTest : public ServerStorageTest<OdbcMariaService> {};

TEST_F(OdbcMariaStorageTest, TableWithoutTransactionsKeepsTheRecordsBeforeTheOneThatFailed) {
    ExpectKeptWithoutTransactions();
}

} // namespace
