// SPDX-License-Identifier: MIT
#include "families/sql/SelectStatement.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace kwlookup;

namespace {

using namespace std::string_literals;

std::string ErrorOf(const std::string& text) {
    try {
        SelectStatement statement(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

TEST(SelectStatementTest, ReadsAndWritesStatements) {
    struct Case {
        std::string text;
        std::string statement;
        std::string value;
    };
    const Case cases[] = {
        {"select result from access where address = '$s'",
         R"(select "result" from "access" where "address" = ?1)", "$s"},
        {"SELECT Result FROM Access WHERE Address='$u'",
         R"(select "Result" from "Access" where "Address" = ?1)", "$u"},
        {"sElEcT a,b , c_3 fRoM t wHeRe d = ' $d% '",
         R"(select "a", "b", "c_3" from "t" where "d" = ?1)", " $d% "},
        {"select * from main.access where a = 'x'",
         R"(select * from "main"."access" where "a" = ?1)", "x"},
        {"select *, a from a.b where a = 'x'", R"(select *, "a" from "a"."b" where "a" = ?1)", "x"},
        {"select select from from where where = 'x'",
         R"(select "select" from "from" where "where" = ?1)", "x"},
        {"select a from t where c = '; drop table t --'", R"(select "a" from "t" where "c" = ?1)",
         "; drop table t --"},
        {"select a from t where c = ''x' \t\n\v\f\r", R"(select "a" from "t" where "c" = ?1)",
         "'x"},
        {"select a from t where c = '\xe9\"`'", R"(select "a" from "t" where "c" = ?1)", "\xe9\"`"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.text);
        const SelectStatement statement(test.text);
        EXPECT_EQ(statement.Text('"', "?1"), test.statement);
        EXPECT_EQ(statement.GetTemplate(), test.value);
    }
    EXPECT_EQ(SelectStatement("select a, * from t.u where c = 'x'").Text('`', "?"),
              "select `a`, * from `t`.`u` where `c` = ?");
}

TEST(SelectStatementTest, RefusesInvalidStatements) {
    for (const std::string& text : {
             ""s,
             "select"s,
             "select a from t"s,
             "select a from t where c = 'x"s,
             "select a from t where c = ''"s,
             "select a from t where c = x"s,
             "select a from t where c = \"x\""s,
             "select a from t where c like 'x'"s,
             "select a from t where c = 'x' or 'y' = 'y'"s,
             "select a from t where c = 'x'; drop table t"s,
             "select a from t where c = 'x' \xff or more"s,
             "select a from t where c = 'x' \xff or b = 'x'"s,
             "select a from t where c = 'x'\x01'x'"s,
             "select a from t where c = ''x' \xff or b = 'x'"s,
             "select a b from t where c = 'x'"s,
             "select a.b from t where c = 'x'"s,
             "select count(*) from t where c = 'x'"s,
             "select a from t, u where c = 'x'"s,
             "select a from t where t.c = 'x'"s,
             "insert into t values (:a<int>)"s,
             "select a from t where c = 'x'\0"s,
             "select a from t where c = 'x'\0 or 'y'"s,
             "select a from t where c = 'x\0'"s,
         })
        EXPECT_STREQ(ErrorOf(text).c_str(),
                     ("cannot read the statement '" + text +
                      "': wait select COLUMN[, ...] from TABLE where COLUMN = "
                      "'TEMPLATE'")
                         .c_str());
}

TEST(SelectStatementTest, RefusesInvalidNames) {
    struct Case {
        std::string text;
        std::string name;
    };
    const Case cases[] = {
        {"select \" from t where c = 'x'", "\""},    {"select ' from t where c = 'x'", "'"},
        {"select a, ; from t where c = 'x'", ";"},   {"select , from t where c = 'x'", ","},
        {"select 1 from t where c = 'x'", "1"},      {"select a, 2b from t where c = 'x'", "2b"},
        {"select a from * where c = 'x'", "*"},      {"select a from \" where c = 'x'", "\""},
        {"select a from t. where c = 'x'", "t."},    {"select a from t..u where c = 'x'", "t..u"},
        {"select a from t.1 where c = 'x'", "t.1"},  {"select a from 1.t where c = 'x'", "1.t"},
        {"select a from t where * = 'x'", "*"},      {"select a from t where 1 = 'x'", "1"},
        {"select a from t where \" = 'x'", "\""},    {"select a from t.u.v where c = 'x'", "t.u.v"},
        {"select _ from t where c = 'x'", "_"},      {"select a from _ where c = 'x'", "_"},
        {"select a from t where _ = 'x'", "_"},      {"select a from t._u where c = 'x'", "t._u"},
        {"select ' from t where c = 'x' \xff", "'"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOf(test.text), "'" + test.name + "' in the statement is not a name");
}

} // namespace
