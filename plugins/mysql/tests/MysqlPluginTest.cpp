// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/ForgetfulProxy.h"
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/FaultyProxy.h"
#include "servers/SqlServerTest.h"
#include "servers/TestAuthority.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <set>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using MysqlPluginTest = SqlServerTest<MysqlService>;

INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, SqlServerTest, MysqlService);

TEST_F(MysqlPluginTest, AnswerOfAnotherKindIsAFault) {
    kwlookup::FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(List(proxy.GetHost()));
    EXPECT_EQ(FailureOf(holder), "found OK");
    // The status before the rows: more results follow.
    proxy.SetFault(kwlookup::FaultyProxy::Fault::Flip, proxy.GetForwardedBytes() + 13, 0x08);
    EXPECT_EQ(FailureOf(holder), "found OK") << "by another connection";
    EXPECT_EQ(proxy.GetAcceptedCount(), 2);
}

TEST_F(MysqlPluginTest, AnswersOfItsOwnTypes) {
    Sql(R"(
        create table own (address varchar(100) collate utf8mb4_nopad_bin, result longtext,
            more text) character set utf8mb4;
        insert into own values ('long', repeat('a', 256), repeat('b', 257)),
            ('huge', repeat('c', 5000000), '');
        create table bits (number integer, bytes varbinary(20), bool boolean);
        insert into bits values (7, x'ff4100', true);
        create database other;
        create table other.answers (address char(40), a numeric(5, 2), b datetime, c double,
            d bigint unsigned, e enum('x', 'y'), f time, g year);
        insert into other.answers values ('jdoe', 2.5, '2026-01-02 03:04:05', 0.1,
            18446744073709551615, 'y', '-01:02:03', 2026);
        create table folding (address varchar(20) character set utf8mb4
            collate utf8mb4_general_ci, result text);
        insert into folding values ('jdoe', 'folded');
        grant select on own to kw@'%';
        grant select on bits to kw@'%';
        grant select on folding to kw@'%';
        grant select on other.* to kw@'%';
    )");
    struct Case {
        std::string statement;
        std::string text;
        Answer answer;
    };
    const Case cases[] = {
        {Select("own"), "long ", Miss()},
        {Select("own", "result, more"),
         "long",
         {true, " " + std::string(256, 'a') + " " + std::string(257, 'b'), "long"}},
        {Select("own"), "huge", {true, " " + std::string(5000000, 'c'), "huge"}},
        {Select("other.answers", "a, b, c, d, e, f, g"),
         "jdoe",
         {true, " 2.50 2026-01-02 03:04:05 0.1 18446744073709551615 y -01:02:03 2026", "jdoe"}},
        {"select number, bytes, bool from bits where number = '$s'",
         "7",
         {true, " 7 \xff"s + "A\0 1"s, "7"}},
        {Select("folding"), "JD\u00d6E", {true, " folded", "JD\u00d6E"}},
        {Select("folding"), "jdoe ", {true, " folded", "jdoe "}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.statement + " on " + test.text);
        ExpectAnswer(Item(test.statement), test.text, 0, test.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(MysqlPluginTest, RefusesItems) {
    const std::string select = "|select a from b where c = '$s'";
    const std::string charset = ": wait a character set that clients of the server may use";
    ExpectRefused("Charset=klingon" + select, "Wrong Charset setting [klingon]" + charset);
    ExpectRefused("Charset=utf16" + select, "Wrong Charset setting [utf16]" + charset);
    ExpectRefused("Hosts=unix:relative" + select, "Wrong Hosts setting");
}

TEST_F(MysqlPluginTest, WhatTheServerRefusesIsAFault) {
    Sql(R"(
        create database hidden;
        create table hidden.secrets (address varchar(20), result text);
        create table failing (address varchar(20), result text);
        insert into failing values ('jdoe@corp.lan', '');
        create view broken as
            select address, (select 1 union select 2) as result from failing;
        grant select on broken to kw@'%';
        create user locked@'%' identified by 'secret of the test' account lock;
    )");
    EXPECT_EQ(FailureWith(Select("nowhere")),
              "SELECT command denied to user 'kw'@'127.0.0.1' for table `test`.`nowhere`");
    Sql("grant select on test.* to kw@'%'");
    EXPECT_EQ(FailureWith(Select("nowhere")), "Table 'test.nowhere' doesn't exist");
    EXPECT_EQ(FailureWith(Select("access", "nothing")), "Unknown column 'nothing' in 'SELECT'");
    EXPECT_THAT(FailureWith(Select("hidden.secrets")), StartsWith("SELECT command denied to user"));
    EXPECT_EQ(FailureWith(Select("broken")), "Subquery returns more than 1 row");
    EXPECT_THAT(FailureWith(Select("access"), FOUND, "Database=nowhere"),
                StartsWith("Access denied for user 'kw'@'%' to database 'nowhere'"));
    EXPECT_THAT(FailureWith(Select("access"), FOUND, "User=locked"),
                HasSubstr("this account is locked"));
    Sql("revoke select on test.* from kw@'%'");
    // The server is not considered failed.
    ExpectWorks(Item(Get().GetQuery(), "RetryInterval=60s"));
}

TEST_F(MysqlPluginTest, OnlyTextsAndWholeNumbersAreCompared) {
    Sql(R"(
        create table numbers (whole bigint, point decimal(20, 2), result text,
            inexact double, day date, moment datetime, year year, bits bit(8), address inet6);
        insert into numbers values (12, 12, 'twelve', 12, '2026-01-02', '2026-01-02', 2026, 12,
            '::1');
        insert into numbers (whole, point, inexact, result)
            values (0, 0, 0, 'zero'), (9007199254740993, 9007199254740993, 0, 'exact');
        grant select on numbers to kw@'%';
    )");
    const std::string no_number =
        "the condition's column holds numbers, and the value is no whole number";
    for (const std::string& column : {"whole"s, "point"s}) {
        const std::string select = "select result from numbers where " + column + " = '$s'";
        ExpectAnswer(Item(select), "12", 0, {true, " twelve", "12"});
        ExpectAnswer(Item(select), "9007199254740993", 0, {true, " exact", "9007199254740993"});
        EXPECT_EQ(AskList(Item(select), "9007199254740992"), Miss());
        EXPECT_EQ(AskList(Item(select), "-12"), Miss());
        // The server would read the number at the start and ignore the rest.
        for (const std::string& text : {"12abc"s, "abc"s, " 12"s, "12 "s, "012"s, "+12"s, "12.0"s,
                                        "1e1"s, "0x0c"s, "12\0"s, "-0"s, "99999999999999999999"s})
            EXPECT_EQ(FailureWith(select, text), no_number) << text;
    }
    for (const std::string& column : {"inexact"s, "day"s, "moment"s, "year"s, "bits"s})
        EXPECT_EQ(FailureWith("select result from numbers where " + column + " = '$s'", "12"),
                  "the condition's column holds neither texts nor whole numbers");
    const std::string select = "select result from numbers where address = '$s'";
    ExpectAnswer(Item(select), "0::1", 0, {true, " twelve", "0::1"});
    EXPECT_EQ(FailureWith(select, "jdoe"), "Incorrect inet6 value: 'jdoe'");
}

TEST_F(MysqlPluginTest, TooManyRowsAndTooLongAnswersAreFaults) {
    Sql("create table many (address varchar(20), result longtext);"
        "insert into many select 'many', repeat('x', 1000) from seq_1_to_10000;"
        "insert into many values ('row', repeat('x', 15000000)), ('row', repeat('x', 15000000));"
        "set global max_allowed_packet = 64 * 1024 * 1024");
    Sql("insert into many values ('long', repeat('x', 17000000));"
        "set global max_allowed_packet = default;"
        "grant select on many to kw@'%'");
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("many"), "Hosts=" + proxy.GetHost()));
    EXPECT_EQ(FailureOf(holder, "many"), proxy.GetHost() + ": more rows than MaxRows, 100");
    EXPECT_LT(proxy.GetForwardedBytes(), 200000u);
    EXPECT_EQ(FailureWith(Select("many"), "row"), "the result is longer than 16 MiB");
    EXPECT_EQ(FailureWith(Select("many"), "long"), "a row is longer than 16 MiB");
    ExpectWorks(Item(Get().GetQuery(), "RetryInterval=60s"));
}

TEST_F(MysqlPluginTest, ValuesLongerThanTheServerTakesAreFaults) {
    const std::string before = Sql("select @@max_allowed_packet");
    Sql("set global max_allowed_packet = 1048576");
    KwLookupHolder holder(m_log);
    holder.Init(Item(Get().GetQuery(), "RetryInterval=60s|MaxRows=5"));
    EXPECT_THAT(FailureOf(holder, std::string(1 << 20, 'x')),
                HasSubstr("the value is longer than max_allowed_packet of the server"));
    EXPECT_EQ(Ask(holder, std::string(1000000, 'x')), Miss());
    ExpectWorks(holder);
    Sql("set global max_allowed_packet = " + before);
}

TEST_F(MysqlPluginTest, SlowAnswersFailInTime) {
    Sql("create function wait() returns text return sleep(20);"
        "create view slow as select address, wait() as result from access;"
        "grant select on slow to kw@'%'");
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("slow"), LIMITED));
    ExpectFailsInTime(holder, "no answer in time");
    ExpectWorks(Item(Get().GetQuery()));
}

TEST_F(MysqlPluginTest, PreparesAgainWhatTheServerHasForgotten) {
    Sql("create table grows (address varchar(20));"
        "insert into grows values ('12abc');"
        "grant select on grows to kw@'%'");
    ForgetfulProxy proxy(Server().GetPort());
    const std::string settings = "Hosts=127.0.0.1:" + std::to_string(proxy.GetPort());
    KwLookupHolder keeper(m_log); // of the connection
    keeper.Init(Item(Get().GetQuery(), settings));
    for (int i = 0; i < 3; ++i) {
        ExpectWorks(keeper);
        proxy.Forget();
    }
    // Tables that change under a statement.
    KwLookupHolder holder(m_log);
    holder.Init(Item("select * from grows where address = '$s'", settings));
    EXPECT_EQ(FailureOf(holder, "12abc"), "found 12abc");
    Sql("alter table grows add more text default 'more'");
    EXPECT_EQ(FailureOf(holder, "12abc"), "found 12abc more");
    Sql("alter table grows drop more");
    EXPECT_EQ(FailureOf(holder, "12abc"), "found 12abc");
    Sql("update grows set address = '12'; alter table grows modify address double");
    EXPECT_THAT(FailureOf(holder, "12abc"), HasSubstr("neither texts nor whole numbers"));
    Sql("alter table grows modify address varchar(20)");
    EXPECT_EQ(FailureOf(holder, "12abc"), "not found");
    EXPECT_EQ(FailureOf(holder, "12"), "found 12");
    Sql("drop table grows");
    EXPECT_THAT(FailureOf(holder, "12"), HasSubstr("doesn't exist"));
    EXPECT_EQ(proxy.GetAcceptedCount(), 1) << "a new connection hides it";
}

TEST_F(MysqlPluginTest, NoFileIsSentToAServerThatAsksForOne) {
    const std::string file = m_dir.Write("file", "secret of the file");
    ForgetfulProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(List("127.0.0.1:" + std::to_string(proxy.GetPort()), "Timeout=5"));
    ExpectWorks(holder);
    proxy.AskForFile(file);
    EXPECT_NE(FailureOf(holder), "not found");
    EXPECT_THAT(proxy.GetSent(), Not(HasSubstr("secret of the file")));
}

TEST_F(MysqlPluginTest, DeadlockIsAFaultOfOneSearch) {
    Sql("delimiter //\n"
        "create function deadlock() returns text begin\n"
        "  signal sqlstate '40001' set mysql_errno = 1213, message_text = 'Deadlock found';\n"
        "  return ''; end//\n"
        "delimiter ;\n"
        "create view deadlocked as select address, deadlock() as result from access;\n"
        "grant select on deadlocked to kw@'%';\n");
    EXPECT_EQ(FailureWith(Select("deadlocked"), FOUND, "RetryInterval=60s"), "Deadlock found");
    ExpectWorks(Item(Get().GetQuery(), "RetryInterval=60s"));
}

TEST_F(MysqlPluginTest, ManyStatementsDoNotFillTheServer) {
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    const std::string settings = "MaxRows=7|Hosts=" + proxy.GetHost();
    KwLookupHolder keeper(m_log); // of the connection
    keeper.Init(Item(Get().GetQuery(), settings));
    EXPECT_EQ(Ask(keeper, "nobody"), Miss());
    const std::string count = "show global status like 'Prepared_stmt_count'";
    const int before = std::stoi(Sql(count).substr(sizeof("Prepared_stmt_count")));
    std::string columns = "result";
    for (int i = 0; i < 250; ++i, columns += ", result") {
        holder.Init(Item("select " + columns + " from access where address = '$s'", settings));
        EXPECT_EQ(Ask(holder, "nobody"), Miss());
    }
    EXPECT_EQ(proxy.GetAcceptedCount(), 1);
    EXPECT_LE(std::stoi(Sql(count).substr(sizeof("Prepared_stmt_count"))), before + 100);
}

TEST_F(MysqlPluginTest, BytesOutsideOfTheCharacterSet) {
    Sql(R"(
        create table utf8 (address varchar(100) character set utf8mb4 collate utf8mb4_nopad_bin,
            result text);
        insert into utf8 values ('j?', 'question'), ('j', 'short'), ('jörg', 'umlaut');
        create table latin (address varchar(100) character set latin1, result text);
        insert into latin values ('j?', 'question'), ('j', 'short'), (x'6af67267', 'umlaut');
        create table bytes (address varbinary(100), result text);
        insert into bytes values (x'6aff', 'bytes'), (x'6a00', 'nul'), (x'6af67267', 'umlaut');
        create table folding0 (address varchar(100) character set utf8mb4
            collate utf8mb4_unicode_ci, result text);
        insert into folding0 values ('ab', 'folded');
        grant select on utf8 to kw@'%';
        grant select on latin to kw@'%';
        grant select on bytes to kw@'%';
        grant select on folding0 to kw@'%';
    )");
    const std::string utf8 = "j\u00f6rg";
    const std::string latin = "j\xf6rg";
    const std::string other = "the value is no text of Charset, and the condition's column has "
                              "another character set";
    for (const std::string& text : {"j\0"s, "\0j"s, "j\xff"s, "j\xc0\xaf"s, "j\xed\xa0\x80"s,
                                    "j\xf4\x90\x80\x80"s, "j\xc3"s, latin})
        EXPECT_EQ(AskList(Item(Select("utf8")), text), Miss()) << text;
    // A column of another character set may contain these bytes, so it is an error.
    for (const std::string& text : {"j\xff"s, "j\xc0\xaf"s, "j\xc3"s, latin})
        EXPECT_EQ(FailureWith(Select("latin"), text), other) << text;
    ExpectAnswer(Item(Select("utf8")), utf8, 0, {true, " umlaut", utf8});
    ExpectAnswer(Item(Select("latin")), utf8, 0, {true, " umlaut", utf8});
    ExpectAnswer(Item(Select("latin"), "Charset=latin1"), latin, 0, {true, " umlaut", latin});
    ExpectAnswer(Item(Select("utf8"), "Charset=latin1"), latin, 0, {true, " umlaut", latin});
    // It cannot contain a letter of another alphabet.
    EXPECT_EQ(AskList(Item(Select("latin")), "\u0416"), Miss());
    ExpectAnswer(Item(Select("bytes")), "j\xff", 0, {true, " bytes", "j\xff"});
    ExpectAnswer(Item(Select("bytes")), "j\0"s, 0, {true, " nul", "j\0"s});
    ExpectAnswer(Item(Select("bytes")), latin, 0, {true, " umlaut", latin});
    // Some collations ignore NUL bytes, as the page says.
    ExpectAnswer(Item(Select("folding0")), "a\0b"s, 0, {true, " folded", "a\0b"s});
}

TEST_F(MysqlPluginTest, NothingOfTheEnvironmentCounts) {
    m_dir.Write(".my.cnf", "[client]\npassword=secret of the test\nssl-ca=/nowhere\n");
    const std::map<std::string, std::string> variables = {
        {"HOME", m_dir.Path(".")},     {"MYSQL_HOME", m_dir.Path(".")},
        {"MYSQL_HOST", "192.0.2.1"},   {"MYSQL_TCP_PORT", "1"},
        {"MYSQL_UNIX_PORT", "/none"},  {"MYSQL_PWD", "secret of the test"},
        {"MARIADB_UNIX_PORT", "/none"}};
    const std::string home_before = std::getenv("HOME") ? std::getenv("HOME") : "/";
    for (const auto& [name, value] : variables)
        ::setenv(name.c_str(), value.c_str(), 1);
    ExpectWorks(Item(Get().GetQuery(), "MaxRows=9"));
    const std::string failure = FailureOf("\"mysql:OnError=exception|Hosts=" + Server().GetHost() +
                                          "|User=kw|Database=test|" + Get().GetQuery() + "\"");
    EXPECT_THAT(failure, HasSubstr("(using password: NO)"));
    for (const auto& [name, value] : variables)
        ::unsetenv(name.c_str());
    ::setenv("HOME", home_before.c_str(), 1);
}

TEST_F(MysqlPluginTest, SignalsAndDescriptorsOfTheHostStayAsTheyAre) {
    KwLookupHolder holder(m_log);
    holder.Init(List(Server().GetHost()));
    ExpectWorks(holder);
    struct sigaction sigpipe;
    ::sigaction(SIGPIPE, nullptr, &sigpipe);
    EXPECT_EQ(sigpipe.sa_handler, SIG_DFL);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        std::error_code none;
        const std::string name = std::filesystem::read_symlink(entry, none);
        if (name.compare(0, 7, "socket:") == 0) {
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC) << name;
        }
    }
}

TEST_F(MysqlPluginTest, TheServerIsSentOneStatementForAnyAddress) {
    Sql("truncate mysql.general_log; set global log_output = 'TABLE'; set global general_log = on");
    KwLookupHolder holder(m_log);
    AskHostileAddresses("logged", 10000, holder);
    Sql("set global general_log = off");
    // Prepared once, because there is one connection.
    EXPECT_EQ(Sql("select argument from mysql.general_log"
                  "  where command_type = 'Prepare' and argument like '%logged%'"),
              "select `result`, `address` from `logged` where `address` = ? limit 101\n");
    EXPECT_EQ(Sql("select count(*) from mysql.general_log"
                  "  where command_type = 'Query' and user_host like 'kw[%'"
                  "  and argument <> 'select @@max_allowed_packet'"),
              "0\n");
}

/// The server shows a certificate of its own authority.
class MysqlTlsTest : public MysqlPluginTest {
protected:
    void UseCertificate(const TestCertificate& certificate) {
        Server().UseCertificate(certificate);
    }

    std::string Trusting(const std::string& more = "") const {
        return "Tls=require|TlsCaFile=" + m_authority.GetCaFile() + more;
    }

    TestAuthority m_authority;
};

TEST_F(MysqlTlsTest, WithoutTlsOfTheServerNothingIsSent) {
    // The server has no certificate yet.
    FaultyProxy proxy(Server().GetPort());
    for (const std::string& settings : {Trusting(), Trusting("|TlsVerify=no")}) {
        const std::string failure = FailureOf(List(proxy.GetHost(), settings));
        EXPECT_EQ(failure, proxy.GetHost() + ": TLS: the server does not offer it");
    }
    EXPECT_EQ(Sql("show global status like 'Ssl_accepts'"), "Ssl_accepts\t0\n");
}

TEST_F(MysqlTlsTest, CertificateMustBeForTheConfiguredName) {
    const std::string port = ":" + std::to_string(Server().GetPort());
    UseCertificate(m_authority.For("DNS:localhost"));
    ExpectWorks(List("localhost" + port, Trusting()));
    EXPECT_THAT(FailureOf(List("127.0.0.1" + port, Trusting())),
                HasSubstr("Validation of SSL server certificate failed"));
    UseCertificate(m_authority.For("IP:127.0.0.1"));
    ExpectWorks(List("127.0.0.1" + port, Trusting()));
    EXPECT_THAT(FailureOf(List("localhost" + port, Trusting())),
                HasSubstr("Validation of SSL server certificate failed"));
}

TEST_F(MysqlTlsTest, UserWithACertificate) {
    Sql("create user certified@'%' require x509; grant select on access to certified@'%'");
    UseCertificate(m_authority.ForServer());
    const TestCertificate certificate = m_authority.ForClient("certified");
    const std::string user = "|User=certified|Password=";
    EXPECT_THAT(FailureOf(List(Server().GetHost(), Trusting(user))), HasSubstr("Access denied"));
    ExpectWorks(
        List(Server().GetHost(), Trusting(user + "|TlsCertFile=" + certificate.certificate_file +
                                          "|TlsKeyFile=" + certificate.key_file)));
}

TEST_F(MysqlTlsTest, AnswerCutAfterAnyByteIsAFaultAndNoSignal) {
    UseCertificate(m_authority.ForServer());
    FaultyProxy proxy(Server().GetPort());
    KwLookupHolder holder(m_log);
    holder.Init(List(proxy.GetHost(), Trusting("|IdleTimeout=0")));
    EXPECT_EQ(FailureOf(holder), "found OK");
    const std::size_t length = proxy.GetForwardedBytes();
    for (const auto fault : {FaultyProxy::Fault::Close, FaultyProxy::Fault::Reset})
        // Signatures are not always of the same length, so not up to the very end.
        for (std::size_t bytes = 0; bytes + 16 < length; bytes += 13) {
            proxy.SetFault(fault, bytes);
            EXPECT_THAT(FailureOf(holder), StartsWith(proxy.GetHost() + ": ")) << bytes;
        }
    proxy.SetFault(FaultyProxy::Fault::None);
    ExpectWorks(holder);
}

TEST_F(MysqlTlsTest, LongValuesGoThrough) {
    UseCertificate(m_authority.ForServer());
    Sql("create table documents (address longtext character set latin1, result text);"
        "insert into documents values (repeat('x', 8000000), 'long');"
        "grant select on documents to kw@'%'");
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("documents"), Trusting()));
    const std::string value(8000000, 'x');
    EXPECT_EQ(FailureOf(holder, value), "found long");
    EXPECT_EQ(FailureOf(holder, value + "x"), "not found");
}

} // namespace
