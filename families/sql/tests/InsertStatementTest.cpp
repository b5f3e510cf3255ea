// SPDX-License-Identifier: MIT
#include "families/sql/InsertStatement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {
namespace {

using namespace std::string_literals;

std::string ErrorOf(const std::string& text) {
    try {
        InsertStatement statement(text);
    } catch (const std::invalid_argument& error) {
        return error.what(); // up to a NUL in the statement
    }
    return "";
}

KwStorageValuesMap Record(const std::map<std::string, std::string>& values) {
    KwStorageValuesMap record;
    for (const auto& [name, text] : values)
        record.m_values[name] = {KwStorageValuesMap::Varchar, text};
    return record;
}

std::string ErrorOf(const InsertStatement& insert, const std::string& value) {
    try {
        StoredRow row;
        insert.Convert(Record({{"a", value}}), row);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(InsertStatement, IsReadAndWritten) {
    struct Case {
        std::string text;
        std::string statement;
    };
    const Case cases[] = {
        {"insert into t values (:a<int>)", R"(insert into "t" values ($1))"},
        {"insert into seen values (:address<varchar>, :at<timestamp>)",
         R"(insert into "seen" values ($1, $2))"},
        {" InSeRt\tINTO\nT VaLuEs(:A<Int>,:b_2<VARCHAR>,:A<int>) \r\n",
         R"(insert into "T" values ($1, $2, $3))"},
        {"insert into values values ( : values < int > )", R"(insert into "values" values ($1))"},
    };
    for (const Case& test : cases) {
        const InsertStatement insert(test.text);
        EXPECT_EQ(insert.Text('"', '$'), test.statement);
        EXPECT_EQ(insert.GetText(), test.text);
    }
    EXPECT_EQ(InsertStatement("insert into t values (:a<int>, :b<int>)").Text('`', '?'),
              "insert into `t` values (?, ?)");
}

TEST(InsertStatement, TellsOfItsTableAndValues) {
    InsertStatement insert("insert into seen_1 values (:address<varchar>, :at<timestamp>)");
    EXPECT_EQ(insert.GetName(1), "at");
    EXPECT_EQ(insert.ColumnsText('`'), "select * from `seen_1` where 1 = 0");
    insert.FoldTable();
    EXPECT_EQ(insert.Text('"', '?'), R"(insert into "SEEN_1" values (?, ?))");
    InsertStatement mixed("insert into Seen values (:a<int>)");
    mixed.FoldTable();
    EXPECT_EQ(mixed.GetTable(), "Seen");
}

TEST(InsertStatement, AnyOtherTextIsRefused) {
    for (const std::string& text : {
             ""s,
             "insert"s,
             "insert into t"s,
             "insert into t values"s,
             "insert into t values ()"s,
             "insert into t values (:a<int>"s,
             "insert into t values (:a<int>,)"s,
             "insert into t values (:a<int> :b<int>)"s,
             "insert into t values (:a<int>), (:a<int>)"s,
             "insert into t values (:a<int>);"s,
             "insert into t values (:a<int>) \xff"s,
             "insert into t values (:a<int>)\0"s,
             "insert into t values (:a<int>)\0 or more"s,
             "insert into t values (:a<text>)"s,
             "insert into t values (:a)"s,
             "insert into t values (a<int>)"s,
             "insert into t values (:a.b<int>)"s,
             "insert into t values ('x')"s,
             "insert into t.u values (:a<int>)"s,
             "insert into t (a) values (:a<int>)"s,
             "insert or replace into t values (:a<int>)"s,
             "select a from t where c = 'x'"s,
             "insert into t\xe9 values (:a<int>)"s,
         })
        EXPECT_STREQ(ErrorOf(text).c_str(), ("cannot read the statement '" + text +
                                             "': wait insert into TABLE values "
                                             "(:NAME<int|varchar|timestamp>[, ...])")
                                                .c_str());
    struct Case {
        std::string text;
        std::string name;
    };
    const Case cases[] = {
        {"insert into \" values (:a<int>)", "\""},
        {"insert into 1 values (:a<int>)", "1"},
        {"insert into t values (:)<int>)", ")"},
        {"insert into t values (:a<int>, :2b<int>)", "2b"},
        {"insert into _ values (:a<int>)", "_"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOf(test.text), "'" + test.name + "' in the statement is not a name");
}

TEST(InsertStatement, ConvertsTheValuesOfARecord) {
    const InsertStatement insert(
        "insert into t values (:b<int>, :c<varchar>, :d<timestamp>, :b<varchar>)");
    const std::string bytes = "\xff\0'\n"s + std::string(1 << 20, 'x');
    StoredRow row(7, {KwStorageValuesMap::Timestamp, 7, "old"});
    insert.Convert(
        Record({{"a", "unused"}, {"b", "-007"}, {"c", bytes}, {"d", "2026-11-22T01:00+01"}}), row);
    ASSERT_EQ(row.size(), 4U);
    EXPECT_EQ(row[0].type, KwStorageValuesMap::Int);
    EXPECT_EQ(row[0].number, -7);
    EXPECT_EQ(row[0].text, "-7");
    EXPECT_EQ(row[1].type, KwStorageValuesMap::Varchar);
    EXPECT_EQ(row[1].text, bytes);
    EXPECT_EQ(row[2].type, KwStorageValuesMap::Timestamp);
    EXPECT_EQ(row[2].text, "2026-11-22 00:00:00");
    EXPECT_EQ(row[3].text, "-007");
}

TEST(InsertStatement, AValueOfAnotherTypeIsAnErrorThatNamesIt) {
    const InsertStatement ints("insert into t values (:a<int>)");
    for (const char* good : {"0", "-1", "9223372036854775807", "-9223372036854775808"})
        EXPECT_EQ(ErrorOf(ints, good), "");
    for (const std::string& bad :
         {""s, " 1"s, "1 "s, "+1"s, "1.0"s, "1e3"s, "0x10"s, "one"s, "-"s, "9223372036854775808"s,
          "-9223372036854775809"s, "1\0"s, "\xb2"s, std::string(1 << 20, '9')})
        EXPECT_EQ(ErrorOf(ints, bad), "'a' is not an int");
    const InsertStatement times("insert into t values (:a<timestamp>)");
    EXPECT_EQ(ErrorOf(times, "now"), "");
    EXPECT_EQ(ErrorOf(times, "2026-02-30"),
              "'a' is not a timestamp: write now or YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]");
    const InsertStatement missing("insert into t values (:a<varchar>, :A<varchar>)");
    EXPECT_EQ(ErrorOf(missing, "x"), "'A' is missing");
}

} // namespace kwlookup
