// SPDX-License-Identifier: MIT
// Compares the parser with StatementMachine on nearly valid statements.
#include "sql/StatementMachine.h"
#include "support/Rounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

class Statements {
public:
    std::string Make() {
        Tokens tokens = OneIn(2) ? Select() : Insert();
        for (int changes = Below(3); changes > 0; --changes)
            Change(tokens);
        std::string statement;
        for (const std::string& token : tokens) {
            statement += Blank();
            statement += AnyCase(token);
        }
        if (OneIn(4))
            statement += Blank();
        if (OneIn(8) && !statement.empty())
            statement[Below(statement.size())] = static_cast<char>(Below(256));
        if (OneIn(8))
            statement.resize(Below(statement.size() + 1));
        return statement;
    }

private:
    using Tokens = std::vector<std::string>;

    std::size_t Below(std::size_t limit) { return m_engine() % limit; }
    bool OneIn(std::size_t count) { return Below(count) == 0; }

    template <std::size_t Count>
    std::string Of(const char* const (&choices)[Count]) {
        return choices[Below(Count)];
    }

    std::string Blank() {
        static const char* const blanks[] = {" ", " ", " ", " ", "  ", "\t", "\r\n", ""};
        return Of(blanks);
    }

    std::string Name() {
        static const char* const names[] = {"a", "b_1", "MaIl", "_", "*", "t.x", "from", "9"};
        return Of(names);
    }

    std::string Token() {
        static const char* const tokens[] = {
            "select", "*",   ",",      "from", "where", "=",    "'",       "insert",
            "into",   "(",   "values", ":",    "<",     "int",  "varchar", "timestamp",
            ">",      ")",   "\xe9",   "\x01", "%",     "''",   "'''",     "'v w'",
            "\"",     "a.b", "x_",     ".",    "'\xff", "ints", "sel",     "."};
        return Of(tokens);
    }

    Tokens Select() {
        Tokens tokens{"select", Name()};
        while (OneIn(3))
            tokens.insert(tokens.end(), {",", Name()});
        static const char* const values[] = {"'v'", "''", "'$s'", "' a b'", "'\xff\x80'", "'from'"};
        tokens.insert(tokens.end(), {"from", Name(), "where", Name(), "=", Of(values)});
        return tokens;
    }

    Tokens Insert() {
        Tokens tokens{"insert", "into", Name(), "values", "("};
        static const char* const types[] = {"int", "varchar", "timestamp", "text"};
        do
            tokens.insert(tokens.end(), {":", Name(), "<", Of(types), ">", ","});
        while (OneIn(3));
        tokens.back() = ")";
        return tokens;
    }

    void Change(Tokens& tokens) {
        const std::size_t at = Below(tokens.size() + 1);
        const auto place = tokens.begin() + static_cast<Tokens::difference_type>(at);
        if (place == tokens.end() || OneIn(3))
            tokens.insert(place, Token());
        else if (OneIn(2))
            *place = Token();
        else
            tokens.erase(place);
    }

    std::string AnyCase(std::string token) {
        for (char& c : token)
            if (c >= 'a' && c <= 'z' && OneIn(4))
                c = static_cast<char>(c - 'a' + 'A');
        return token;
    }

    std::mt19937 m_engine{5};
};

TEST(RandomStatements, AreParsedAsTheTablesSay) {
    Statements statements;
    std::set<int> error_states;
    std::set<std::vector<int>> types;
    int accepted = 0, unknown = 0;
    for (int i = 0; i < Rounds(100000); ++i) {
        const std::string statement = statements.Make();
        const bool trace = i % 2 == 0;
        const Parsed select = Parse(statement, &KwSQLParser::parse_select, trace);
        const Parsed insert = Parse(statement, &KwSQLParser::parse_insert, trace);
        ASSERT_EQ(select, ExpectedSelect(statement, trace)) << statement;
        ASSERT_EQ(insert, ExpectedInsert(statement, trace)) << statement;
        error_states.insert(select.error_state);
        types.insert(insert.types);
        accepted += select.result ? 1 : 0;
        unknown += select.trace.find("unknown state") != std::string::npos ? 1 : 0;
    }
    // The statements reached every state.
    EXPECT_EQ(error_states, (std::set<int>{-1, 0, 1, 2, 4, 5, 6, 7, 8}));
    EXPECT_EQ(types, (std::set<std::vector<int>>{{}, {0}, {1}, {2}}));
    EXPECT_GT(accepted, Rounds(1000));
    EXPECT_GT(unknown, Rounds(100));
}

TEST(RandomStatements, ParsingAgainContinues) {
    Statements statements;
    for (int i = 0; i < 2000; ++i) {
        KwSQLParser parser("");
        parser.m_error_state = -1;
        Parsed expected;
        for (int again = 0; again < 4; ++again) {
            parser.m_statement = statements.Make().c_str();
            StatementMachine machine(parser.m_statement);
            const bool trace = again % 2 == 0;
            const bool result = again < 2 ? parser.parse_select(trace) : parser.parse_insert(trace);
            again < 2 ? machine.Select(expected, trace) : machine.Insert(expected, trace);
            ASSERT_EQ(Parsed::Of(parser, result), expected) << parser.m_statement;
        }
    }
}

} // namespace
