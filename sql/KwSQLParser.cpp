// SPDX-License-Identifier: MIT
#include "sql/KwSQLParser.h"

#include <cctype>
#include <cstddef>
#include <cstring>

namespace {

enum Keyword : std::size_t {
    Select,
    Star,
    Comma,
    From,
    Where,
    Equal,
    Quote,
    Insert,
    Into,
    Values,
    Open,
    Colon,
    Less,
    Int,
    Varchar,
    Timestamp,
    Greater,
    Close
};

constexpr const char* Keywords[] = {"select", "*",      ",",       "from",      "where", "=",
                                    "'",      "insert", "into",    "values",    "(",     ":",
                                    "<",      "int",    "varchar", "timestamp", ">",     ")"};

// The C library's character classes take bytes; a char may be negative.
bool IsSpace(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

bool IsPunct(char c) {
    return std::ispunct(static_cast<unsigned char>(c)) != 0;
}

bool IsAlnum(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool IsAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

/// Cuts a statement into words.
class Words {
public:
    explicit Words(std::string& statement) : m_cursor(statement.data()) {}

    bool Next() {
        if (!find_word(&m_begin, &m_cursor))
            return false;
        m_end = m_cursor;
        return true;
    }

    bool Is(Keyword keyword) const { return compare(m_begin, m_end, Keywords[keyword]); }
    bool IsName() const { return mustbename(m_begin, m_end); }
    std::string GetText() const { return std::string(m_begin, m_end); }
    std::size_t GetLength() const { return static_cast<std::size_t>(m_end - m_begin); }

    /// Moves from an opening quote to its closing one. Returns false without a closing one.
    bool TakeValue(std::string& value) {
        // The first character belongs to the value, even if it is a quote.
        if (*m_cursor == '\0')
            return false;
        char* const close = std::strchr(m_cursor + 1, '\'');
        if (!close)
            return false;
        value.assign(m_cursor, close);
        m_cursor = close;
        return true;
    }

private:
    char* m_begin = nullptr;
    char* m_end = nullptr;
    char* m_cursor;
};

} // namespace

KwSQLParser::KwSQLParser(const char* statement) : m_statement(statement) {}

KwSQLParser::~KwSQLParser() = default;

bool KwSQLParser::parse_select(bool trace) {
    Words words(m_statement);
    int state = 0;
    while (words.Next()) {
        if (trace)
            m_trace += "\n" + std::to_string(state) + ": " + words.GetText() + "[" +
                       std::to_string(words.GetLength()) + "]";
        switch (state) {
        case 0:
            if (!words.Is(Select))
                return false;
            state = 1;
            break;
        case 1:
            if (!words.Is(Star) && !words.IsName())
                return false;
            m_names.push_back(words.GetText());
            state = 2;
            break;
        case 2:
            if (words.Is(Comma)) {
                m_trace += "searching for next parameter\n";
                if (!words.Next() || !words.IsName())
                    return false;
                m_names.push_back(words.GetText());
                break;
            }
            [[fallthrough]];
        case 3:
            if (!words.Is(From))
                return false;
            state = 4;
            break;
        case 4:
            m_table = words.GetText();
            state = 5;
            break;
        case 5:
            if (!words.Is(Where))
                return false;
            state = 6;
            break;
        case 6:
            if (!words.IsName())
                return false;
            m_where_column = words.GetText();
            state = 7;
            break;
        case 7:
            if (!words.Is(Equal))
                return false;
            state = 8;
            break;
        case 8:
            if (!words.Is(Quote) || !words.TakeValue(m_where_value))
                return false;
            state = 9;
            break;
        case 9:
            if (!words.Is(Quote))
                return false;
            state = 10;
            break;
        default:
            m_trace += "unknown state";
            return false;
        }
    }
    if (state == 10)
        return true;
    if (trace)
        m_trace += "<<<<--- unexpected token";
    m_error_state = state;
    return false;
}

bool KwSQLParser::parse_insert(bool trace) {
    Words words(m_statement);
    int state = 0;
    while (words.Next()) {
        if (trace) {
            m_trace += static_cast<char>(state);
            m_trace += ": " + words.GetText() + "[";
            m_trace += static_cast<char>(words.GetLength());
            m_trace += "]\n";
        }
        switch (state) {
        case 0:
            if (!words.Is(Insert))
                return false;
            state = 1;
            break;
        case 1:
            if (!words.Is(Into))
                return false;
            state = 2;
            break;
        case 2:
            if (!words.IsName())
                return false;
            m_table = words.GetText();
            state = 3;
            break;
        case 3:
            if (!words.Is(Values))
                return false;
            state = 4;
            break;
        case 4:
            if (!words.Is(Open))
                return false;
            state = 5;
            break;
        case 5:
            if (!words.Is(Colon))
                return false;
            state = 6;
            break;
        case 6:
            if (!words.IsName())
                return false;
            m_names.push_back(words.GetText());
            state = 7;
            break;
        case 7:
            if (!words.Is(Less))
                return false;
            state = 8;
            break;
        case 8:
            if (words.Is(Int))
                m_types.push_back(KwStorageValuesMap::Int);
            else if (words.Is(Varchar))
                m_types.push_back(KwStorageValuesMap::Varchar);
            else if (words.Is(Timestamp))
                m_types.push_back(KwStorageValuesMap::Timestamp);
            else
                return false;
            // On purpose: the word of the type must now also be ">", so that every parse ends here.
            [[fallthrough]];
        case 9:
            if (!words.Is(Greater))
                return false;
            state = 10;
            break;
        case 10:
            if (words.Is(Comma))
                state = 5;
            else if (words.Is(Close))
                state = 11;
            else
                return false;
            break;
        default:
            return false;
        }
    }
    return state == 11;
}

bool find_word(char** word, char** cursor) {
    char* begin = *cursor;
    while (IsSpace(*begin))
        ++begin;
    char* end = begin;
    if (IsPunct(*begin)) {
        ++end;
    } else {
        // '.' and '_' are punctuation, so no word begins with them.
        if (!IsAlnum(*begin))
            return false;
        while (IsAlnum(*end) || *end == '.' || *end == '_')
            ++end;
    }
    *word = begin;
    *cursor = end;
    return true;
}

bool mustbename(const char* begin, const char* end) {
    if (begin == end || !IsAscii(*begin))
        return false;
    for (const char* c = begin + 1; c != end; ++c)
        if (!IsAlnum(*c) && *c != '_')
            return false;
    return true;
}

bool compare(const char* begin, const char* end, const char* keyword) {
    for (; begin != end && *keyword != '\0'; ++begin, ++keyword)
        if (Lower(*begin) != *keyword)
            return false;
    return begin == end && *keyword == '\0';
}
