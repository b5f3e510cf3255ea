// SPDX-License-Identifier: MIT
#include "sql/KwSQLParser.h"

#include "sql/StatementMachine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <new>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

Parsed Select(const std::string& statement, bool trace = false) {
    return Parse(statement, &KwSQLParser::parse_select, trace);
}

Parsed Insert(const std::string& statement, bool trace = false) {
    return Parse(statement, &KwSQLParser::parse_insert, trace);
}

using Names = std::vector<std::string>;

TEST(KwSQLParser, IsInitiallyEmpty) {
    const KwSQLParser parser("Select 'x'");
    EXPECT_EQ(parser.m_statement, "Select 'x'");
    EXPECT_EQ(parser.m_trace, "");
    EXPECT_EQ(parser.m_table, "");
    EXPECT_TRUE(parser.m_names.empty());
    EXPECT_TRUE(parser.m_types.empty());
    EXPECT_EQ(parser.m_where_column, "");
    EXPECT_EQ(parser.m_where_value, "");
}

TEST(KwSQLParser, DoesNotInitialiseTheErrorState) {
    alignas(KwSQLParser) unsigned char memory[sizeof(KwSQLParser)];
    std::memset(memory, 0x5a, sizeof(memory));
    const KwSQLParser* parser = new (memory) KwSQLParser("");
    int error_state = 0;
    std::memcpy(&error_state, &parser->m_error_state, sizeof(error_state));
    EXPECT_EQ(error_state, 0x5a5a5a5a);
    parser->~KwSQLParser();
}

TEST(KwSQLParser, CopiesTheStatementUnchanged) {
    std::string statement = "select a from t where c = 'v'";
    KwSQLParser parser(statement.c_str());
    statement.assign(statement.size(), '?');
    EXPECT_TRUE(parser.parse_select(false));
    EXPECT_EQ(parser.m_statement, "select a from t where c = 'v'");
}

TEST(KwSQLParser, MembersStandInOrder) {
    const KwSQLParser parser("");
    const void* members[] = {&parser.m_error_state,  &parser.m_trace,      &parser.m_statement,
                             &parser.m_table,        &parser.m_names,      &parser.m_types,
                             &parser.m_where_column, &parser.m_where_value};
    const char* place = reinterpret_cast<const char*>(&parser) + sizeof(void*);
    EXPECT_EQ(members[0], place);
    for (const void* member : members) {
        EXPECT_LE(static_cast<const void*>(place), member);
        place = static_cast<const char*>(member);
    }
}

TEST(KwSQLParser, ReadsASelect) {
    const struct {
        std::string statement;
        Names names;
        std::string table, column, value;
    } cases[] = {
        {"SELECT mail FROM users WHERE uid = 'x'", {"mail"}, "users", "uid", "x"},
        {"select *, a from t where c='v'", {"*", "a"}, "t", "c", "v"},
        {"select a,b , c\n,\td from t where c = 'v'", {"a", "b", "c", "d"}, "t", "c", "v"},
        {"\tsElEcT\vA\fFrOm\rT\nWhErE C='V' ", {"A"}, "T", "C", "V"},
        {"select MaIl from UsErS where UiD = 'VaLuE'", {"MaIl"}, "UsErS", "UiD", "VaLuE"},
        {"select a from schema.table where c = 'v'", {"a"}, "schema.table", "c", "v"},
        {"select result_1 from t_1 where c_1='$s'", {"result_1"}, "t_1", "c_1", "$s"},
        {"select 1 from 2 where 3='4'", {"1"}, "2", "3", "4"},
        {"select*from t where c='v'", {"*"}, "t", "c", "v"},
        // Values are bytes up to the quote.
        {"select a from t where c = ' v '", {"a"}, "t", "c", " v "},
        {"select a from t where c = 'a \"b\\' ", {"a"}, "t", "c", "a \"b\\"},
        {"select a from t where c = '\xd0\xb0\xff\x01'", {"a"}, "t", "c", "\xd0\xb0\xff\x01"},
        {"select a from t where c = '\n'", {"a"}, "t", "c", "\n"},
        // A keyword can be a name.
        {"select from from from where where = 'v'", {"from"}, "from", "where", "v"},
        {"select select, where from values where int='='",
         {"select", "where"},
         "values",
         "int",
         "="},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        for (bool trace : {false, true}) {
            const Parsed parsed = Select(c.statement, trace);
            EXPECT_TRUE(parsed.result);
            EXPECT_EQ(parsed.names, c.names);
            EXPECT_EQ(parsed.table, c.table);
            EXPECT_EQ(parsed.where_column, c.column);
            EXPECT_EQ(parsed.where_value, c.value);
            EXPECT_TRUE(parsed.types.empty());
            EXPECT_EQ(parsed.error_state, -1);
        }
    }
}

TEST(KwSQLParser, ReadsLongSelects) {
    const std::string mebibyte(1024 * 1024, 'x');
    Parsed parsed = Select("select " + mebibyte + " from " + mebibyte + " where " + mebibyte +
                           " = '" + mebibyte + "'");
    EXPECT_TRUE(parsed.result);
    EXPECT_EQ(parsed.names, Names{mebibyte});
    EXPECT_EQ(parsed.table, mebibyte);
    EXPECT_EQ(parsed.where_column, mebibyte);
    EXPECT_EQ(parsed.where_value, mebibyte);

    std::string many = "select c0";
    for (int i = 1; i < 20000; ++i)
        many += ", c" + std::to_string(i);
    parsed = Select(many + " from t where c = 'v'");
    EXPECT_TRUE(parsed.result);
    ASSERT_EQ(parsed.names.size(), 20000U);
    EXPECT_EQ(parsed.names[19999], "c19999");
}

TEST(KwSQLParser, ALoneCharacterIsAName) {
    const struct {
        std::string statement;
        Names names;
        std::string table, column;
    } cases[] = {
        {"select , from t where c = 'v'", {","}, "t", "c"},
        {"select ,,, from t where c = 'v'", {",", ","}, "t", "c"},
        {"select *,* from t where c = 'v'", {"*", "*"}, "t", "c"},
        {"select a,' from t where c = 'v'", {"a", "'"}, "t", "c"},
        {"select a from , where c = 'v'", {"a"}, ",", "c"},
        {"select a from ' where c = 'v'", {"a"}, "'", "c"},
        {"select a from t where = = 'v'", {"a"}, "t", "="},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        const Parsed parsed = Select(c.statement);
        EXPECT_TRUE(parsed.result);
        EXPECT_EQ(parsed.names, c.names);
        EXPECT_EQ(parsed.table, c.table);
        EXPECT_EQ(parsed.where_column, c.column);
        EXPECT_EQ(parsed.where_value, "v");
    }
    EXPECT_EQ(Insert("insert into * values (:,<int").table, "*");
    EXPECT_EQ(Insert("insert into * values (:,<int").names, Names{","});
}

TEST(KwSQLParser, AnEmptyValueIsTheStartOfALongerOne) {
    const struct {
        std::string end;
        bool result;
        std::string value;
    } cases[] = {
        {"''", false, ""},     {"'' ", false, ""},
        {"'''", true, "'"},    {"'' and d = '", true, "' and d = "},
        {"'''v'", false, "'"}, // "v" comes after the closing quote
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.end);
        const Parsed parsed = Select("select a from t where c = " + c.end);
        EXPECT_EQ(parsed.result, c.result);
        EXPECT_EQ(parsed.where_value, c.value);
        EXPECT_EQ(parsed.error_state, -1);
    }
}

TEST(KwSQLParser, AByteWithoutAClassEndsTheStatement) {
    const struct {
        std::string statement;
        bool result;
        int error_state;
    } cases[] = {
        {"\xd1\x8f", false, 0},
        {"select \xd1\x8f from t", false, 1},
        {"select a\xd1\x8f from t", false, 2},
        {"select a from t\x01 where c = 'v'", false, 5},
        {"select a, \xd1\x8f from t", false, -1}, // no word after a comma
        {"select a from t where c = 'v' \xd1\x8f x", true, -1},
        {"select a from t where c = 'v'\0 x"s, true, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        const Parsed parsed = Select(c.statement);
        EXPECT_EQ(parsed.result, c.result);
        EXPECT_EQ(parsed.error_state, c.error_state);
    }
}

TEST(KwSQLParser, ASelectKeepsWhatItHasRead) {
    // The statement cut after each of its words.
    const struct {
        std::string end;
        Names names;
        std::string table, column, value;
        int error_state;
    } cases[] = {
        {"", {}, "", "", "", 0},
        {"select", {}, "", "", "", 1},
        {" a", {"a"}, "", "", "", 2},
        {" ,", {"a"}, "", "", "", -1},
        {" b", {"a", "b"}, "", "", "", 2},
        {" from", {"a", "b"}, "", "", "", 4},
        {" t", {"a", "b"}, "t", "", "", 5},
        {" where", {"a", "b"}, "t", "", "", 6},
        {" c", {"a", "b"}, "t", "c", "", 7},
        {" =", {"a", "b"}, "t", "c", "", 8},
        {" '", {"a", "b"}, "t", "c", "", -1},
        {"v w", {"a", "b"}, "t", "c", "", -1},
        {"'", {"a", "b"}, "t", "c", "v w", -1},
        {" x", {"a", "b"}, "t", "c", "v w", -1},
    };
    std::string statement;
    for (const auto& c : cases) {
        statement += c.end;
        SCOPED_TRACE(statement);
        const Parsed parsed = Select(statement);
        EXPECT_EQ(parsed.result, c.end == "'");
        EXPECT_EQ(parsed.names, c.names);
        EXPECT_EQ(parsed.table, c.table);
        EXPECT_EQ(parsed.where_column, c.column);
        EXPECT_EQ(parsed.where_value, c.value);
        EXPECT_EQ(parsed.error_state, c.error_state);
    }
}

// The words that may follow each state.
constexpr int Refused = -1; // false at once
constexpr int Unknown = -2; // false, with a remark

const char* const AllTokens[] = {
    "select", "*", ",",   "from",    "where", "=", "'",         "insert", "into",  "values", "(",
    ":",      "<", "int", "varchar", ">",     ")", "timestamp", "name",   "n_1_",  "9",      "t.c",
    "_",      ".", "\"",  "$",       ";",     "-", "selec",     "x.",     "from_", "selects"};

bool IsDotted(const std::string& token) {
    return token.size() > 1 && token.find('.') != std::string::npos;
}

TEST(KwSQLParser, EachStateOfASelectWithEachToken) {
    const struct {
        int state;
        std::string before;
        int any;    // after any other token
        int dotted; // after a dotted name
        std::map<std::string, int> special;
    } states[] = {
        {0, "", Refused, Refused, {{"select", 1}}},
        {1, "select", 2, Refused, {}},
        {2, "select a", Refused, Refused, {{"from", 4}}}, // a comma must precede a name
        {-1, "select a,", 2, Refused, {}},                // no state of its own
        {2, "select a, b", Refused, Refused, {{"from", 4}}},
        {4, "select a from", 5, 5, {}},
        {5, "select a from t", Refused, Refused, {{"where", 6}}},
        {6, "select a from t where", 7, Refused, {}},
        {7, "select a from t where c", Refused, Refused, {{"=", 8}}},
        {8, "select a from t where c =", Refused, Refused, {}}, // a quote wants its closing one
        {-1, "select a from t where c = 'v'", Unknown, Unknown, {}}, // the last one
    };
    for (const auto& s : states) {
        EXPECT_EQ(Select(s.before).error_state, s.state) << s.before;
        for (const std::string token : AllTokens) {
            const std::string statement = s.before + " " + token;
            SCOPED_TRACE(statement);
            const auto special = s.special.find(token);
            const int next = special != s.special.end() ? special->second
                             : IsDotted(token)          ? s.dotted
                                                        : s.any;
            const Parsed parsed = Select(statement);
            EXPECT_FALSE(parsed.result);
            EXPECT_EQ(parsed.error_state, next < 0 ? -1 : next);
            EXPECT_EQ(parsed.trace.find("unknown state") != std::string::npos, next == Unknown);
        }
    }
}

TEST(KwSQLParser, EachStateOfAnInsertWithEachToken) {
    const struct {
        int state;
        std::string before;
        int any;
        int dotted;
        std::map<std::string, int> special;
    } states[] = {
        {0, "", Refused, Refused, {{"insert", 1}}},
        {1, "insert", Refused, Refused, {{"into", 2}}},
        {2, "insert into", 3, Refused, {}},
        {3, "insert into t", Refused, Refused, {{"values", 4}}},
        {4, "insert into t values", Refused, Refused, {{"(", 5}}},
        {5, "insert into t values (", Refused, Refused, {{":", 6}}},
        {6, "insert into t values (:", 7, Refused, {}},
        {7, "insert into t values (:a", Refused, Refused, {{"<", 8}}},
        {8, "insert into t values (:a<", Refused, Refused, {}},
    };
    const std::map<std::string, int> types = {{"int", 0}, {"varchar", 1}, {"timestamp", 2}};
    for (const auto& s : states) {
        for (const std::string token : AllTokens) {
            // The trace has the next word, if it is read, with its state.
            const std::string statement = s.before + " " + token + " probe";
            SCOPED_TRACE(statement);
            const auto special = s.special.find(token);
            const int next = special != s.special.end() ? special->second
                             : IsDotted(token)          ? s.dotted
                                                        : s.any;
            const Parsed parsed = Insert(statement, true);
            EXPECT_FALSE(parsed.result);
            std::string last = std::string(1, static_cast<char>(s.state)) + ": " + token + "[" +
                               static_cast<char>(token.size()) + "]\n";
            if (next != Refused)
                last += std::string(1, static_cast<char>(next)) + ": probe[\5]\n";
            EXPECT_EQ(parsed.trace.substr(parsed.trace.size() - last.size()), last);
            const bool typed = s.state == 8 && types.count(token) != 0;
            EXPECT_EQ(parsed.types, typed ? std::vector<int>{types.at(token)} : std::vector<int>{});
            EXPECT_EQ(parsed.error_state, -1);
        }
    }
}

TEST(KwSQLParser, AnInsertEndsAtItsFirstType) {
    const struct {
        std::string statement;
        std::string table;
        Names names;
        std::vector<int> types;
    } cases[] = {
        {"insert into t values (:a<int>)", "t", {"a"}, {0}},
        {"insert into t values (:a<int>, :b<varchar>)", "t", {"a"}, {0}},
        {"insert into t values (:a<varchar>)", "t", {"a"}, {1}},
        {"insert into t values (:a<timestamp>)", "t", {"a"}, {2}},
        {"insert into t values (:a<text>)", "t", {"a"}, {}},
        {"INSERT INTO Log VaLuEs ( : Who < VARCHAR > )", "Log", {"Who"}, {1}},
        {"insert into t values (:a<int", "t", {"a"}, {0}},
        {"insert into t values (:a<", "t", {"a"}, {}},
        {"insert into t values (:a", "t", {"a"}, {}},
        {"insert into t values (:a>", "t", {"a"}, {}},
        {"insert into t values (:", "t", {}, {}},
        {"insert into t", "t", {}, {}},
        {"insert into", "", {}, {}},
        {"insert into schema.table values (:a<int>)", "", {}, {}},
        {"insert into t values (:a.b<int>)", "t", {}, {}},
        {"insert into t values ()", "t", {}, {}},
        {"insert into t (a) values ('v')", "t", {}, {}},
        {"", "", {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        const Parsed parsed = Insert(c.statement);
        EXPECT_FALSE(parsed.result);
        EXPECT_EQ(parsed.table, c.table);
        EXPECT_EQ(parsed.names, c.names);
        EXPECT_EQ(parsed.types, c.types);
        EXPECT_EQ(parsed.error_state, -1);
        EXPECT_EQ(parsed.trace, "");
    }
}

TEST(KwSQLParser, EachStatementIsOfOneKind) {
    EXPECT_FALSE(Insert("select a from t where c = 'v'").result);
    EXPECT_EQ(Select("insert into t values (:a<int>)").error_state, -1);
    for (const char* statement :
         {"select a from t", "select a from t where c = v", "select a from t where c < 'v'",
          "select a from t where c = \"v\"", "select a from t where c = 'v' and d = 'w'",
          "select a from t where c = 'v';", "select a b from t where c = 'v'",
          "select a.b from t where c = 'v'", "select a, b.c from t where c = 'v'",
          "select a from t where t.c = 'v'", "select a from t, u where c = 'v'",
          "select from t where c = 'v'", "select a from where c = 'v'", "update t set a = 'v'"}) {
        SCOPED_TRACE(statement);
        EXPECT_FALSE(Select(statement).result);
    }
}

TEST(KwSQLParser, TracesASelect) {
    const struct {
        std::string statement, traced, untraced;
    } cases[] = {
        {"Select mail From users where uid = 'x y'",
         "\n0: Select[6]\n1: mail[4]\n2: From[4]\n4: users[5]\n5: where[5]\n6: uid[3]\n7: =[1]"
         "\n8: '[1]\n9: '[1]",
         ""},
        {"select a, b,c from t where",
         "\n0: select[6]\n1: a[1]\n2: ,[1]searching for next parameter\n\n2: ,[1]"
         "searching for next parameter\n\n2: from[4]\n4: t[1]\n5: where[5]"
         "<<<<--- unexpected token",
         "searching for next parameter\nsearching for next parameter\n"},
        {"select a from t where c = 'v' x",
         "\n0: select[6]\n1: a[1]\n2: from[4]\n4: t[1]\n5: where[5]\n6: c[1]\n7: =[1]\n8: '[1]"
         "\n9: '[1]\n10: x[1]unknown state",
         "unknown state"},
        {"select a from t where c = 'v' x y",
         "\n0: select[6]\n1: a[1]\n2: from[4]\n4: t[1]\n5: where[5]\n6: c[1]\n7: =[1]\n8: '[1]"
         "\n9: '[1]\n10: x[1]unknown state",
         "unknown state"},
        {"", "<<<<--- unexpected token", ""},
        {"select", "\n0: select[6]<<<<--- unexpected token", ""},
        // Other failures add nothing to the trace.
        {"delete", "\n0: delete[6]", ""},
        {"select a where", "\n0: select[6]\n1: a[1]\n2: where[5]", ""},
        {"select a,", "\n0: select[6]\n1: a[1]\n2: ,[1]searching for next parameter\n",
         "searching for next parameter\n"},
        {"select a, b.c", "\n0: select[6]\n1: a[1]\n2: ,[1]searching for next parameter\n",
         "searching for next parameter\n"},
        {"select a from t where c = 'v",
         "\n0: select[6]\n1: a[1]\n2: from[4]\n4: t[1]\n5: where[5]\n6: c[1]\n7: =[1]\n8: '[1]",
         ""},
        {std::string(1000, 'x'), "\n0: " + std::string(1000, 'x') + "[1000]", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        EXPECT_EQ(Select(c.statement, true).trace, c.traced);
        EXPECT_EQ(Select(c.statement, false).trace, c.untraced);
    }
}

TEST(KwSQLParser, TracesAnInsertInRawBytes) {
    const struct {
        std::string statement, traced;
    } cases[] = {
        {"Insert into log values (:who<int>)",
         "\0: Insert[\6]\n\1: into[\4]\n\2: log[\3]\n\3: values[\6]\n\4: ([\1]\n\5: :[\1]\n"
         "\6: who[\3]\n\7: <[\1]\n\10: int[\3]\n"s},
        {"", ""},
        {"insert", "\0: insert[\6]\n"s},
        {"insert from x", "\0: insert[\6]\n\1: from[\4]\n"s},
        // A length is always one byte.
        {std::string(255, 'x'), "\0: "s + std::string(255, 'x') + "[\xff]\n"},
        {std::string(256, 'x'), "\0: "s + std::string(256, 'x') + "[\0]\n"s},
        {std::string(1000, 'x'), "\0: "s + std::string(1000, 'x') + "[\xe8]\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.statement);
        EXPECT_EQ(Insert(c.statement, true).trace, c.traced);
        EXPECT_EQ(Insert(c.statement, false).trace, "");
    }
}

TEST(KwSQLParser, OnlyAnEarlyEndSetsTheErrorState) {
    for (const char* statement :
         {"select a from t where c = 'v'", "select a from t where c = 'v' x", "x", "select a b",
          "select a,", "select a from t where c = '", "select a from t where c = 'v"}) {
        SCOPED_TRACE(statement);
        KwSQLParser parser(statement);
        parser.m_error_state = 77;
        parser.parse_select(true);
        EXPECT_EQ(parser.m_error_state, 77);
        parser.parse_insert(true);
        EXPECT_EQ(parser.m_error_state, 77);
    }
    KwSQLParser parser("select a from");
    parser.m_error_state = 77;
    parser.parse_insert(true);
    EXPECT_EQ(parser.m_error_state, 77);
    parser.parse_select(false);
    EXPECT_EQ(parser.m_error_state, 4);
}

TEST(KwSQLParser, ParsingAgainAppendsAndOverwrites) {
    KwSQLParser parser("select a, b from t where c = 'v'");
    EXPECT_TRUE(parser.parse_select(false));
    parser.m_statement = "select d from u where e = 'w'";
    EXPECT_TRUE(parser.parse_select(true));
    parser.m_statement = "insert into x values (:f<timestamp>)";
    EXPECT_FALSE(parser.parse_insert(false));
    EXPECT_FALSE(parser.parse_insert(false));
    EXPECT_EQ(parser.m_names, (Names{"a", "b", "d", "f", "f"}));
    EXPECT_EQ(parser.m_types, (std::vector<KwStorageValuesMap::Type>{
                                  KwStorageValuesMap::Timestamp, KwStorageValuesMap::Timestamp}));
    EXPECT_EQ(parser.m_table, "x");
    EXPECT_EQ(parser.m_where_column, "e");
    EXPECT_EQ(parser.m_where_value, "w");
    EXPECT_EQ(parser.m_trace.rfind("searching for next parameter\n\n0: select[6]", 0), 0U);
}

} // namespace
