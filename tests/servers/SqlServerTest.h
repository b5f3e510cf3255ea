// SPDX-License-Identifier: MIT
#pragma once

#include "servers/HostileAddress.h"
#include "servers/ServerPluginTest.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

/// Tests that all types for SQL servers have in common. The tests of one type derive from it too.
///
/// Besides what ServerPluginTest requires, the `Service` has
///   - `Execute()`, which runs statements as the owner of the database, and returns the rows;
///   - `GetUser()`, the user that searches;
///   - `ChecksRightsAtEachSearch()`, false if the server checks rights once per connection;
///   - `Quoted()`, a name as an identifier that is not a keyword;
///   - `GetTextType()`, the type of a column of up to 100 characters in UTF-8 that are compared
///     byte by byte.
template <typename Service>
class SqlServerTest : public ServerPluginTest<Service> {
protected:
    using Base = ServerPluginTest<Service>;

    /// The values of a row as written in a statement.
    using Row = std::string;

    static std::string Sql(const std::string& statements) {
        return Base::Get().Execute(statements);
    }

    /// Makes a table that the user may read.
    static void MakeTable(const std::string& name, const std::string& columns,
                          const std::vector<Row>& rows = {}) {
        std::string statements = "create table " + name + " (" + columns + ");\n";
        for (const Row& row : rows)
            statements += "insert into " + name + " values (" + row + ");\n";
        Sql(statements + GrantOf("select", name));
    }

    static std::string GrantOf(const std::string& rights, const std::string& table) {
        return "grant " + rights + " on " + table + " to " + Base::Get().GetUser() + ";\n";
    }

    /// The columns of most tables.
    static std::string Columns() {
        return "address " + Base::Get().GetTextType() + ", result " + Base::Get().GetTextType();
    }

    static std::string Select(const std::string& table, const std::string& column = "result") {
        return "select " + column + " from " + table + " where address = '$s'";
    }

    /// A list of one item that executes `statement`.
    static std::string Item(const std::string& statement, const std::string& settings = "") {
        return Base::ListOf(statement, Base::Server().GetHost(), settings);
    }

    /// The error of a search without the server's name.
    std::string FailureWith(const std::string& statement, const std::string& text = Base::FOUND,
                            const std::string& settings = "") {
        return this->ReasonOf(Item(statement, settings), text);
    }

    /// `rest` is a statement, or settings that may name hosts and a statement.
    void ExpectRefused(const std::string& rest, const std::string& error) {
        const std::string list =
            rest.rfind("select", 0) == 0
                ? Item(rest)
                : "\"" + Base::Get().GetType() + ":" + Base::Get().GetLogin() + "|" + rest + "\"";
        EXPECT_THAT(this->ErrorOf(list), testing::HasSubstr(error)) << rest;
    }

    /// Ask for addresses that would do harm in a statement. `table` gets rows for a few of them,
    /// and the user may do anything with it. `holder` gets the list that asks.
    void AskHostileAddresses(const std::string& table, unsigned addresses, KwLookupHolder& holder) {
        const std::set<std::string> stored = {"jdoe@corp.lan", "*", "%", "_", "'", "\"", "`",
                                              "corp.lan"};
        std::vector<Row> rows;
        for (const std::string& address : stored) {
            const std::string value = address == "'" ? "''''" : "'" + address + "'";
            rows.push_back(value + ", " + value);
        }
        MakeTable(table, Columns(), rows);
        Sql(GrantOf("insert, update, delete", table));
        holder.Init(Item(Select(table)));
        RecordingLog::Silence();
        int found = 0;
        for (unsigned i = 0; i < addresses; ++i) {
            const std::string address = kwlookup::HostileAddress(i);
            const bool expected = stored.count(address) != 0;
            const auto answer = this->Ask(holder, address);
            ASSERT_EQ(answer.res, expected ? " " + address : "") << i;
            ASSERT_EQ(answer.found, expected) << i << ": " << address.substr(0, 200);
            found += answer.found;
        }
        EXPECT_GT(found, 20);
        EXPECT_THAT(Sql("select count(*) from " + table + ";"),
                    testing::HasSubstr(std::to_string(stored.size())));
    }
};

TYPED_TEST_SUITE_P(SqlServerTest);

TYPED_TEST_P(SqlServerTest, Answers) {
    const std::string text = this->Get().GetTextType();
    const std::string umlauts = "j\u00f6rg@corp.lan";
    this->MakeTable(
        "answers", TestFixture::Columns() + ", more " + text,
        {"'jdoe@corp.lan', 'OK', 'more'", "'JDoe@Corp.lan', 'mixed', null", "'rows', 'a', '1'",
         "'rows', '', 'x y'", "'rows', null, null", "'rows', 'b', ''", "'null', null, null",
         "'empty', '', ''", "'corp.lan', 'domain', ''", "'jdoe', 'user', ''", "'$', 'dollar', ''",
         "'<jdoe@corp.lan>', 'brackets', ''", "' jdoe ', 'blanks', ''",
         "'jdoe at corp.lan', 'parts', ''", "'" + umlauts + "', 'gr\u00fc\u00dfe', ''"});
    const std::string from = this->Get().Quoted("from");
    this->MakeTable(this->Get().Quoted("select"),
                    from + " integer, " + this->Get().Quoted("Mixed") + " " + text,
                    {"7, 'keywords'"});
    this->Sql("create view upper_case as select address, upper(result) as result from answers;\n" +
              this->GrantOf("select", "upper_case"));
    struct Case {
        std::string statement;
        std::string text;
        int flags;
        PluginTest::Answer answer;
    };
    const std::string all = "select result, more from answers where address = '$s'";
    const std::string one = this->Select("answers");
    const std::string result = "select result from answers where address = ";
    const PluginTest::Answer miss = this->Miss();
    const Case cases[] = {
        {one, "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {one, "JDOE@corp.lan", 0, miss},
        {one, "JDoe@Corp.lan", 0, {true, " mixed", "JDoe@Corp.lan"}},
        {one, "jdoe@corp.la", 0, miss},
        {one, "", 0, miss},
        {one, umlauts, 0, {true, " gr\u00fc\u00dfe", umlauts}},
        {"SELECT result FROM answers WHERE address = '$s'", "jdoe", 0, {true, " user", "jdoe"}},
        {"select * from upper_case where address = '$s'", "jdoe", 0, {true, " jdoe USER", "jdoe"}},
        {"select from, Mixed from select where from = '$s'", "7", 0, {true, " 7 keywords", "7"}},
        {all, "jdoe@corp.lan", 0, {true, " OK more", "jdoe@corp.lan"}},
        {one, "rows", 0, {true, " a b", "rows"}},
        {all, "rows", 0, {true, " a 1 x y b", "rows"}},
        {one, "null", 0, {true, "", "null"}},
        {all, "empty", 0, {true, "", "empty"}},
        {one, "<jdoe@corp.lan>", 0, {true, " brackets", "<jdoe@corp.lan>"}},
        {one, "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", "jdoe@corp.lan"}},
        {result + "'$d'", "x@corp.lan", 0, {true, " domain", "corp.lan"}},
        {result + "'$d'", "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {result + "'$d'", "jdoe", 0, miss},
        {result + "'$u'", "jdoe@x", 0, {true, " user", "jdoe"}},
        {result + "'$u'", "@x", 0, miss},
        {result + "'$u at $d'", "jdoe@corp.lan", 0, {true, " parts", "jdoe at corp.lan"}},
        {result + "' $u '", "jdoe@x", 0, {true, " blanks", " jdoe "}},
        {result + "'$$'", "any", 0, {true, " dollar", "$"}},
        {result + "'jdoe'", "any", 0, {true, " user", "jdoe"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.statement + " on " + test.text);
        this->ExpectAnswer(this->Item(test.statement), test.text, test.flags, test.answer);
    }
    EXPECT_THAT(this->TakeErrors(), testing::IsEmpty());
}

TYPED_TEST_P(SqlServerTest, BytesThatNoTextHasAreMisses) {
    using namespace std::string_literals;
    const std::string item = this->Item(this->Get().GetQuery());
    for (const std::string& text :
         {"jdoe@corp.lan\0"s, "\0jdoe@corp.lan"s, "\0"s, "\xff\xfe"s, "\xc0\xa7"s, "\xed\xa0\x80"s,
          "\xf4\x90\x80\x80"s, "jdoe@corp.lan\xc3"s, "j\xf6rg"s, "'\xc0"s})
        EXPECT_EQ(this->AskList(item, text), this->Miss()) << text;
}

TYPED_TEST_P(SqlServerTest, RefusesItems) {
    const std::string select = "select a from b where c = '$s'";
    const std::pair<std::string, std::string> cases[] = {
        {"select a from b", "cannot read the statement"},
        {"select a from b where c = '$x'", "unrecognize expansion"},
        {"select a-b from b where c = '$s'", "cannot read the statement"},
        {"Hosts=, |" + select, "Hosts"},
        {"Hosts=[|" + select, "Hosts"},
        {"Hosts=a:0|" + select, "Hosts"},
        {"Tls=maybe|" + select, "Tls"},
        {"TlsKeyFile=/x|" + select, "TlsKeyFile"},
        {"Charset=klingon|" + select, "Charset"},
        {"Timeout=0|" + select, "Timeout must be from 1 to"},
        {"MaxRows=0|" + select, "MaxRows must be at least 1"},
        {"MaxConnections=0|" + select, "MaxConnections must be from 1 to"},
        {"Colour=red|" + select, "Colour"},
    };
    for (const auto& [rest, error] : cases)
        this->ExpectRefused(rest, error);
}

TYPED_TEST_P(SqlServerTest, TooManyRowsAreAFault) {
    this->MakeTable("four", TestFixture::Columns(), {4, "'four', 'x'"});
    EXPECT_EQ(this->FailureWith(this->Select("four"), "four", "MaxRows=3"),
              "more rows than MaxRows, 3");
    this->ExpectAnswer(this->Item(this->Select("four"), "MaxRows=4"), "four", 0,
                       {true, " x x x x", "four"});
}

TYPED_TEST_P(SqlServerTest, WhatCannotBeAskedIsAFault) {
    this->Sql("create table secrets (" + TestFixture::Columns() + ");\n");
    this->MakeTable("revoked", TestFixture::Columns());
    // The connection can be used again, and the server is not considered failed.
    const std::string settings = "RetryInterval=60s|MaxConnections=1";
    for (const std::string& statement :
         {this->Select("nowhere"), this->Select("access", "nothing"), this->Select("secrets")}) {
        EXPECT_THAT(this->FailureWith(statement, this->FOUND, settings),
                    testing::Not(testing::StartsWith("without name: ")))
            << statement;
        this->ExpectWorks(this->Item(this->Get().GetQuery(), settings));
    }
    // A right that is revoked while a connection is open.
    KwLookupHolder holder(this->m_log);
    holder.Init(this->Item(this->Select("revoked"), settings));
    EXPECT_EQ(this->FailureOf(holder), "not found");
    this->Sql("revoke select on revoked from " + this->Get().GetUser() + ";\n");
    if (!this->Get().ChecksRightsAtEachSearch())
        holder.Init(this->Item(this->Select("revoked"), settings + "|IdleTimeout=59s"));
    EXPECT_THAT(this->FailureOf(holder), testing::StartsWith(this->Server().GetHost() + ": "));
    // Under OnError=ignore they are misses with a line in the log.
    holder.Init(this->Item(this->Select("nowhere"), "OnError=ignore"));
    RecordingLog::Reset();
    EXPECT_EQ(this->Ask(holder, this->FOUND), this->Miss());
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR),
                testing::ElementsAre(testing::StartsWith("lookup_" + this->Get().GetType() + ": " +
                                                         this->Server().GetHost() + ": ")));
}

TYPED_TEST_P(SqlServerTest, HostileAddressesMatchNothingElse) {
    KwLookupHolder holder(this->m_log);
    this->AskHostileAddresses("hostile", 20000, holder);
}

REGISTER_TYPED_TEST_SUITE_P(SqlServerTest, Answers, BytesThatNoTextHasAreMisses, RefusesItems,
                            TooManyRowsAreAFault, WhatCannotBeAskedIsAFault,
                            HostileAddressesMatchNothingElse);
