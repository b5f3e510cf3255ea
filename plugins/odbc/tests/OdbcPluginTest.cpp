// SPDX-License-Identifier: MIT
#include "servers/HostileAddress.h"
#include "servers/OdbcDriver.h"
#include "support/PluginSupport.h"
#include "support/StorageSupport.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <sqlite3.h>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string FOUND = "jdoe@corp.lan";

/// An SQLite file, through its ODBC driver.
class OdbcPluginTest : public PluginTest {
protected:
    /// The driver manager reads its files once, so these must exist before its first call.
    static void SetUpTestSuite() {
        static const TempDir dir;
        dir.Write("odbcinst.ini", "[SQLite3]\nDriver = " + OdbcDriver("libsqlite3odbc.so") + "\n");
        dir.Write("odbc.ini", "[mail]\nDriver = SQLite3\nDatabase = " + dir.Path("db") +
                                  "\n[away]\nDriver = SQLite3\nDatabase = " +
                                  dir.Path("no/such/directory") + "\n");
        ::setenv("ODBCSYSINI", dir.Path("").c_str(), 1);
        ::setenv("ODBCINI", dir.Path("odbc.ini").c_str(), 1);
        s_source = dir.Path("db");
    }

    OdbcPluginTest() {
        sqlite3* database = nullptr;
        EXPECT_EQ(::sqlite3_open(m_file.c_str(), &database), SQLITE_OK);
        m_database.reset(database);
        Sql("create table access (address varchar(100), result varchar(100));"
            "insert into access values ('jdoe@corp.lan', 'OK')");
    }

    void Sql(const std::string& statements) {
        char* error = nullptr;
        EXPECT_EQ(::sqlite3_exec(m_database.get(), statements.c_str(), nullptr, nullptr, &error),
                  SQLITE_OK)
            << error;
    }

    std::string Connection() const {
        return "Driver=" + OdbcDriver("libsqlite3odbc.so") + ";Database=" + m_file;
    }

    static std::string Select(const std::string& table, const std::string& column = "result") {
        return "select " + column + " from " + table + " where address = '$s'";
    }

    std::string Item(const std::string& statement, const std::string& settings = "") const {
        return ItemOf("Connection=" + Connection() + "|" + settings +
                      (settings.empty() ? "" : "|") + statement);
    }

    /// Enough for a machine under load.
    static std::string ItemOf(const std::string& rest) {
        return "\"odbc:OnError=exception|RetryInterval=0|Timeout=60|ConnectTimeout=60|" + rest +
               "\"";
    }

    struct Close {
        void operator()(sqlite3* database) const { ::sqlite3_close(database); }
    };

    static std::string s_source; ///< the file of the data source "mail"
    const std::string m_file = m_dir.Path("db");
    std::unique_ptr<sqlite3, Close> m_database;
};

std::string OdbcPluginTest::s_source;

TEST_F(OdbcPluginTest, Answers) {
    Sql("create table answers (address varchar(100), result varchar(100), more integer);"
        "insert into answers values"
        "  ('rows', 'a', 1), ('rows', '', null), ('rows', null, 2), ('null', null, null),"
        "  ('corp.lan', 'domain', null), ('j\xc3\xb6rg', 'gr\xc3\xbc\xc3\x9f', null);"
        "create table \"select\" (\"from\" integer, \"Where\" varbinary(20), more varchar(9));"
        "insert into \"select\" values (7, x'00ff', 'seven');");
    const std::string all = "select result, more from answers where address = '$s'";
    ExpectAnswer(Item(Select("access")), FOUND, 0, {true, " OK", FOUND});
    ExpectAnswer(Item(Select("access")), "JDOE@corp.lan", 0, Miss());
    ExpectAnswer(Item(Select("access", "*")), FOUND, 0, {true, " jdoe@corp.lan OK", FOUND});
    ExpectAnswer(Item(all), "rows", 0, {true, " a 1 2", "rows"});
    ExpectAnswer(Item(all), "null", 0, {true, "", "null"});
    ExpectAnswer(Item(Select("answers")), "j\xc3\xb6rg", 0,
                 {true, " gr\xc3\xbc\xc3\x9f", "j\xc3\xb6rg"});
    ExpectAnswer(Item("select result from answers where address = '$d'"), "x@corp.lan", 0,
                 {true, " domain", "corp.lan"});
    ExpectAnswer(Item("select more from select where from = '$s'"), "7", 0, {true, " seven", "7"});
    ExpectAnswer(Item("select more from select where Where = '$s'"), "\0\xff"s, 0,
                 {true, " seven", "\0\xff"s});
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(OdbcPluginTest, LongValuesComeWhole) {
    Sql("create table long (address text, result text);"
        "insert into long values ('a', replace(hex(zeroblob(524288)), '0', 'x'));");
    for (const std::size_t size : {1000, 1022, 1023, 1024, 1025, 2046, 2047, 5000, 1048576}) {
        const std::string key(size, 'k');
        Sql("insert into long values ('" + key + "', '" + std::string(size, 'v') + "')");
        ExpectAnswer(Item(Select("long")), key, 0, {true, " " + std::string(size, 'v'), key});
    }
    EXPECT_EQ(AskList(Item(Select("long")), "a").res, " " + std::string(1048576, 'x'));
}

TEST_F(OdbcPluginTest, StoresIntoFiles) {
    Sql("create table seen (address varchar(100) unique, count integer, bytes varbinary(9),"
        "  at timestamp)");
    KwStorageHolder holder(m_log);
    holder.Init(Item("insert into seen values (:address<varchar>, :count<int>, :bytes<varchar>, "
                     ":at<timestamp>)",
                     "MaxConnections=1"));
    const auto row = [](const std::string& address) {
        return Record({{"address", address},
                       {"count", "-9223372036854775808"},
                       {"bytes", "\0\xff"s},
                       {"at", "2026-11-22T07:07:08.25+01:00"}});
    };
    EXPECT_EQ(StoreError(holder, row("j\xc3\xb6rg")), "");
    ExpectAnswer(Item("select address, count, at from seen where bytes = '$s'"), "\0\xff"s, 0,
                 {true, " j\xc3\xb6rg -9223372036854775808 2026-11-22 06:07:08.25", "\0\xff"s});
    EXPECT_EQ(BatchError(holder, {row("a"), row("b"), row("a")}),
              "2: odbc: UNIQUE constraint failed: seen.address (19) (HY000)");
    EXPECT_EQ(BatchError(holder, {row("c"), row("nul\0"s)}),
              "1: odbc: 'address' has a NUL byte, which only a column of bytes can hold");
    EXPECT_EQ(BatchError(holder, {row("c"), row("d")}), "");
    EXPECT_EQ(AskList(Item("select address from seen where bytes = '$s'"), "\0\xff"s).res,
              " j\xc3\xb6rg c d");
    // Another one writes, for longer than the limit.
    holder.Init(Item("insert into access values (:a<varchar>, :b<int>)", "Timeout=1"));
    Sql("begin immediate");
    EXPECT_EQ(StoreError(holder, Record({{"a", "x"}, {"b", "1"}})), "odbc: no answer in time");
    Sql("commit");
    holder.Init(Item("insert into access values (:a<varchar>, :b<int>)"));
    EXPECT_EQ(StoreError(holder, Record({{"a", "y"}, {"b", "1"}})), "");
    EXPECT_EQ(AskList(Item(Select("access")), "x"), Miss()) << "it came late";
}

TEST_F(OdbcPluginTest, RefusesItems) {
    const std::string select = Select("access");
    const std::pair<std::string, std::string> cases[] = {
        {select, "either Dsn or Connection must be set"},
        {"Dsn=a|Connection=Driver=b|" + select, "either Dsn or Connection must be set"},
        {"Dsn=a(b)|" + select, "Wrong Dsn setting [a(b)]"},
        {"Dsn=a, ,b|" + select, "Wrong Dsn setting []"},
        {"Dsn=a|Hosts=b|" + select, "Hosts needs Connection"},
        {"Dsn=a|Tls=require|" + select, "the driver knows nothing of Tls and Database"},
        {"Dsn=a|Database=b|" + select, "the driver knows nothing of Tls and Database"},
        {"Connection=a|" + select, "Wrong Connection setting"},
        {"Connection=Driver=a;PWD=b|" + select, "Connection has a password: set Password"},
        {"Connection=Server=$h|" + select, "Connection has $h or $p, and Hosts is not set"},
        {"Connection=Server=a|Hosts=b|" + select, "Hosts is set, and Connection has no $h"},
        {"Connection=Server=$h|Hosts=unix:/b|" + select, "Hosts has a unix socket"},
        {"Connection=Server=$h;Port=$p|Hosts=b|" + select, "Hosts a host without a port"},
        {"Dsn=a|select a from b", "cannot read the statement"},
        {"Dsn=a|select a from b where c = '$x'", "unrecognize expansion"},
        {"Dsn=a|Timeout=0|" + select, "Timeout must be from 1 to"},
        {"Dsn=a|Colour=red|" + select, "Colour"},
    };
    for (const auto& [rest, error] : cases)
        EXPECT_THAT(ErrorOf("\"odbc:" + rest + "\""), HasSubstr(error)) << rest;
}

TEST_F(OdbcPluginTest, WhatCannotBeAskedIsAFault) {
    Sql("create table numbers (address integer, result varchar(9));"
        "insert into numbers values (7, 'seven');"
        "create table doubles (address double, result varchar(9));"
        "create table times (address timestamp, result varchar(9))");
    const auto failure = [this](const std::string& statement) {
        return SearchErrorOf(Item(statement, "MaxConnections=1"), FOUND);
    };
    EXPECT_THAT(failure(Select("nowhere")), StartsWith("odbc: no such table: nowhere"));
    EXPECT_THAT(failure(Select("access", "nothing")), StartsWith("odbc: no such column: "));
    EXPECT_EQ(failure(Select("numbers")), "odbc: the condition's column holds numbers, and the "
                                          "value is no whole number");
    for (const char* table : {"doubles", "times"})
        EXPECT_EQ(failure(Select(table)),
                  "odbc: the condition's column holds neither texts nor whole numbers");
    // The connection can be used again.
    ExpectAnswer(Item(Select("numbers"), "MaxConnections=1"), "7", 0, {true, " seven", "7"});
    for (const char* text : {"7abc", " 7", "07", "7.0", "+7"})
        EXPECT_THROW(AskList(Item(Select("numbers")), text), std::runtime_error) << text;
    EXPECT_THAT(SearchErrorOf(ItemOf("Connection=Driver=/nowhere.so|" + Select("access")), FOUND),
                StartsWith("odbc: Can't open lib '/nowhere.so'"));
}

TEST_F(OdbcPluginTest, TooManyRowsAreAFault) {
    Sql("insert into access values ('four', 'x'), ('four', 'x'), ('four', 'x'), ('four', 'x')");
    EXPECT_EQ(SearchErrorOf(Item(Select("access"), "MaxRows=3"), "four"),
              "odbc: more rows than MaxRows, 3");
    ExpectAnswer(Item(Select("access"), "MaxRows=4"), "four", 0, {true, " x x x x", "four"});
}

TEST_F(OdbcPluginTest, AsksDataSourcesInOrder) {
    std::filesystem::copy_file(m_file, s_source, std::filesystem::copy_options::overwrite_existing);
    const std::string select = Select("access");
    ExpectAnswer(ItemOf("Dsn=mail|" + select), FOUND, 0, {true, " OK", FOUND});
    ExpectAnswer(ItemOf("Dsn=away, mail|" + select), FOUND, 0, {true, " OK", FOUND});
    EXPECT_THAT(SearchErrorOf(ItemOf("Dsn=away|" + select), FOUND), StartsWith("away: "));
    EXPECT_THAT(SearchErrorOf(ItemOf("Dsn=nowhere, mail|" + select), FOUND),
                StartsWith("nowhere: error of configuration: Data source name not found"));
}

TEST_F(OdbcPluginTest, DriverThatHangsFailsSearchesInTime) {
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("access"), "Timeout=1"));
    EXPECT_EQ(Ask(holder, FOUND).res, " OK");
    // The driver waits for the lock for 100 seconds, and has no time limit.
    Sql("begin exclusive");
    std::chrono::milliseconds time{0};
    for (int i = 0; i < 20; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        std::string reason;
        try {
            Ask(holder, FOUND);
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
        time = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
        EXPECT_EQ(reason, "odbc: no answer in time");
        if (time <= std::chrono::milliseconds(1100))
            break;
    }
    EXPECT_LE(time.count(), 1100);
    Sql("commit");
    EXPECT_EQ(AskList(Item(Select("access")), FOUND).res, " OK");
}

TEST_F(OdbcPluginTest, HostileAddressesMatchNothingElse) {
    const std::set<std::string> stored = {"jdoe@corp.lan", "*", "%", "_", "'", "\"", "`",
                                          "corp.lan"};
    Sql("create table hostile (address varchar(100), result varchar(100))");
    for (const std::string& address : stored) {
        const std::string value = address == "'" ? "''''" : "'" + address + "'";
        Sql("insert into hostile values (" + value + ", " + value + ")");
    }
    KwLookupHolder holder(m_log);
    holder.Init(Item(Select("hostile")));
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
}

} // namespace
