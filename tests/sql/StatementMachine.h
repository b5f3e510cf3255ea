// SPDX-License-Identifier: MIT
#pragma once

#include "sql/KwSQLParser.h"

#include <cstddef>
#include <iomanip>
#include <ostream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

// A second implementation to compare the parser with. Its states are rows of tables, and its words
// are defined by lists of characters.

/// The public members of a parser after a parse.
struct Parsed {
    bool result = false;
    int error_state = -1;
    std::string trace;
    std::string table;
    std::vector<std::string> names;
    std::vector<int> types;
    std::string where_column;
    std::string where_value;

    static Parsed Of(const KwSQLParser& parser, bool result) {
        return {result,
                parser.m_error_state,
                parser.m_trace,
                parser.m_table,
                parser.m_names,
                {parser.m_types.begin(), parser.m_types.end()},
                parser.m_where_column,
                parser.m_where_value};
    }

    bool operator==(const Parsed& other) const {
        return std::tie(result, error_state, trace, table, names, types, where_column,
                        where_value) == std::tie(other.result, other.error_state, other.trace,
                                                 other.table, other.names, other.types,
                                                 other.where_column, other.where_value);
    }

    friend std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
        out << (parsed.result ? "true" : "false") << ", error state " << parsed.error_state
            << ", table " << std::quoted(parsed.table) << ", names";
        for (const std::string& name : parsed.names)
            out << " " << std::quoted(name);
        out << ", types";
        for (int type : parsed.types)
            out << " " << type;
        return out << ", where " << std::quoted(parsed.where_column) << " = "
                   << std::quoted(parsed.where_value) << ", trace " << std::quoted(parsed.trace);
    }
};

/// Parses a text of the classic locale.
class StatementMachine {
public:
    explicit StatementMachine(std::string_view text) : m_text(text.substr(0, text.find('\0'))) {}

    /// Continues from the members in `parsed`.
    void Select(Parsed& parsed, bool trace) {
        static const std::vector<Row> rows = {
            {0, "select", nullptr, 1},   {1, "*", &AddName, 2},    {1, Name, &AddName, 2},
            {2, ",", nullptr, NextName}, {2, "from", nullptr, 4},  {3, "from", nullptr, 4},
            {4, Anything, &SetTable, 5}, {5, "where", nullptr, 6}, {6, Name, &SetWhereColumn, 7},
            {7, "=", nullptr, 8},        {8, "'", nullptr, Value}, {9, "'", nullptr, 10},
        };
        int state = 0;
        parsed.result = false;
        while (Next()) {
            if (trace)
                parsed.trace += "\n" + std::to_string(state) + ": " + std::string(m_word) + "[" +
                                std::to_string(m_word.size()) + "]";
            if (state == 10)
                parsed.trace += "unknown state";
            const Row* row = Find(rows, state);
            if (!row)
                return;
            if (row->action)
                row->action(parsed, std::string(m_word));
            state = row->next;
            if (state == NextName) {
                parsed.trace += "searching for next parameter\n";
                if (!Next() || !Fits(Name))
                    return;
                AddName(parsed, std::string(m_word));
                state = 2;
            } else if (state == Value) {
                // Only the first character of a value can be a quote.
                const std::size_t close = m_text.find('\'', m_at + 1);
                if (close == std::string_view::npos)
                    return;
                parsed.where_value = m_text.substr(m_at, close - m_at);
                m_at = close;
                state = 9;
            }
        }
        parsed.result = state == 10;
        if (parsed.result)
            return;
        parsed.error_state = state;
        if (trace)
            parsed.trace += "<<<<--- unexpected token";
    }

    void Insert(Parsed& parsed, bool trace) {
        static const std::vector<Row> rows = {
            {0, "insert", nullptr, 1},
            {1, "into", nullptr, 2},
            {2, Name, &SetTable, 3},
            {3, "values", nullptr, 4},
            {4, "(", nullptr, 5},
            {5, ":", nullptr, 6},
            {6, Name, &AddName, 7},
            {7, "<", nullptr, 8},
            {8, "int", &AddType<0>, Refused},
            {8, "varchar", &AddType<1>, Refused},
            {8, "timestamp", &AddType<2>, Refused},
            {9, ">", nullptr, 10},
            {10, ",", nullptr, 5},
            {10, ")", nullptr, 11},
        };
        int state = 0;
        parsed.result = false;
        while (Next()) {
            if (trace)
                parsed.trace += std::string(1, static_cast<char>(state)) + ": " +
                                std::string(m_word) + "[" +
                                std::string(1, static_cast<char>(m_word.size())) + "]\n";
            const Row* row = Find(rows, state);
            if (!row)
                return;
            if (row->action)
                row->action(parsed, std::string(m_word));
            state = row->next;
            if (state == Refused)
                return;
        }
        parsed.result = state == 11;
    }

private:
    // Placeholders for a word and for a next state.
    static constexpr const char* Name = "NAME";
    static constexpr const char* Anything = "ANYTHING";
    static constexpr int NextName = -1;
    static constexpr int Value = -2;
    static constexpr int Refused = -3;

    struct Row {
        int state;
        const char* expected;
        void (*action)(Parsed&, const std::string&);
        int next;
    };

    static void AddName(Parsed& parsed, const std::string& word) { parsed.names.push_back(word); }
    static void SetTable(Parsed& parsed, const std::string& word) { parsed.table = word; }
    static void SetWhereColumn(Parsed& parsed, const std::string& word) {
        parsed.where_column = word;
    }
    template <int Type>
    static void AddType(Parsed& parsed, const std::string&) {
        parsed.types.push_back(Type);
    }

    static constexpr std::string_view Spaces = " \t\n\v\f\r";
    static constexpr std::string_view Punctuation = "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
    static constexpr std::string_view Upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    static constexpr std::string_view Lower = "abcdefghijklmnopqrstuvwxyz";
    static constexpr std::string_view Digits = "0123456789";

    static bool In(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }
    static bool IsAlnum(char c) { return In(Upper, c) || In(Lower, c) || In(Digits, c); }

    bool Next() {
        const std::size_t begin = m_text.find_first_not_of(Spaces, m_at);
        if (begin == std::string_view::npos)
            return false;
        std::size_t end = begin + 1;
        if (IsAlnum(m_text[begin])) {
            while (end < m_text.size() && (IsAlnum(m_text[end]) || In("._", m_text[end])))
                ++end;
        } else if (!In(Punctuation, m_text[begin])) {
            return false;
        }
        m_word = m_text.substr(begin, end - begin);
        m_at = end;
        return true;
    }

    bool Fits(std::string_view expected) const {
        if (expected == Anything)
            return true;
        if (expected == Name) {
            for (std::size_t i = 1; i < m_word.size(); ++i)
                if (!IsAlnum(m_word[i]) && m_word[i] != '_')
                    return false;
            return true;
        }
        std::string lower(m_word);
        for (char& c : lower)
            if (In(Upper, c))
                c = Lower[Upper.find(c)];
        return lower == expected;
    }

    const Row* Find(const std::vector<Row>& rows, int state) const {
        for (const Row& row : rows)
            if (row.state == state && Fits(row.expected))
                return &row;
        return nullptr;
    }

    std::string_view m_text;
    std::string_view m_word;
    std::size_t m_at = 0;
};

/// Returns the result of parsing a statement with `parse`, which is &KwSQLParser::parse_select or
/// parse_insert.
inline Parsed Parse(const std::string& statement, bool (KwSQLParser::*parse)(bool), bool trace) {
    KwSQLParser parser(statement.c_str());
    parser.m_error_state = -1;
    const bool result = (parser.*parse)(trace);
    return Parsed::Of(parser, result);
}

inline Parsed ExpectedSelect(const std::string& statement, bool trace) {
    Parsed parsed;
    StatementMachine(statement).Select(parsed, trace);
    return parsed;
}

inline Parsed ExpectedInsert(const std::string& statement, bool trace) {
    Parsed parsed;
    StatementMachine(statement).Insert(parsed, trace);
    return parsed;
}
