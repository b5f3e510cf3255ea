// SPDX-License-Identifier: MIT
#include "families/sql/InsertStatement.h"

#include "families/sql/SqlName.h"
#include "families/sql/Timestamp.h"
#include "sql/KwSQLParser.h"

#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kwlookup {

namespace {

/// Reads the words of a statement, one after the other. After a syntax error all further calls
/// fail.
class Words {
public:
    explicit Words(std::string& statement) : m_cursor(statement.data()) {}

    /// Consume the next word if it is `keyword`. False if it is not.
    bool Take(const char* keyword) {
        char* const before = m_cursor;
        if (Next() && compare(m_begin, m_cursor, keyword))
            return true;
        m_cursor = before;
        return false;
    }

    /// Consume the next word, and put it into `name`. False if it cannot be a name.
    bool TakeName(std::string& name) {
        if (!Next() || !mustbename(m_begin, m_cursor))
            return false;
        name.assign(m_begin, m_cursor);
        return true;
    }

    /// True if only white space is left before `end`.
    bool AtEnd(const char* end) const {
        const std::string_view rest(m_cursor, static_cast<std::size_t>(end - m_cursor));
        return rest.find_first_not_of(" \t\n\v\f\r") == std::string_view::npos;
    }

private:
    bool Next() { return find_word(&m_begin, &m_cursor); }

    char* m_begin = nullptr;
    char* m_cursor; ///< the end of the word
};

bool TakeType(Words& words, KwStorageValuesMap::Type& type) {
    constexpr std::pair<const char*, KwStorageValuesMap::Type> TYPES[] = {
        {"int", KwStorageValuesMap::Int},
        {"varchar", KwStorageValuesMap::Varchar},
        {"timestamp", KwStorageValuesMap::Timestamp}};
    for (const auto& [name, value] : TYPES) {
        if (words.Take(name)) {
            type = value;
            return true;
        }
    }
    return false;
}

bool ReadInt(const std::string& text, long long& number) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end;
}

} // namespace

InsertStatement::InsertStatement(const std::string& text) : m_text(text) {
    Words words(m_text);
    bool good = words.Take("insert") && words.Take("into") && words.TakeName(m_table) &&
                words.Take("values") && words.Take("(");
    do {
        Parameter parameter{"", KwStorageValuesMap::Int};
        good = good && words.Take(":") && words.TakeName(parameter.name) && words.Take("<") &&
               TakeType(words, parameter.type) && words.Take(">");
        m_parameters.push_back(parameter);
    } while (good && words.Take(","));
    if (!good || !words.Take(")") || !words.AtEnd(m_text.data() + m_text.size()))
        throw std::invalid_argument("cannot read the statement '" + text +
                                    "': wait insert into TABLE values "
                                    "(:NAME<int|varchar|timestamp>[, ...])");
    CheckSqlName(IsSqlName(m_table), m_table);
    for (const Parameter& parameter : m_parameters)
        CheckSqlName(IsSqlName(parameter.name), parameter.name);
}

std::string InsertStatement::Text(char quote, char mark) const {
    std::string text = "insert into " + QuotedSqlName(m_table, quote) + " values (";
    for (std::size_t i = 1; i <= m_parameters.size(); ++i) {
        if (i > 1)
            text += ", ";
        text += mark;
        if (mark == '$')
            text += std::to_string(i);
    }
    return text + ")";
}

std::string InsertStatement::ColumnsText(char quote) const {
    return "select * from " + QuotedSqlName(m_table, quote) + " where 1 = 0";
}

void InsertStatement::FoldTable() {
    FoldSqlName(m_table);
}

void InsertStatement::Convert(const KwStorageValuesMap& record, StoredRow& row) const {
    row.resize(m_parameters.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
        const Parameter& parameter = m_parameters[i];
        StoredValue& value = row[i];
        const auto found = record.m_values.find(parameter.name);
        if (found == record.m_values.end())
            throw std::invalid_argument("'" + parameter.name + "' is missing");
        const std::string& given = found->second.second;
        value.type = parameter.type;
        value.number = 0;
        if (parameter.type == KwStorageValuesMap::Timestamp) {
            if (!ReadTimestamp(given, value.text))
                throw std::invalid_argument(
                    "'" + parameter.name +
                    "' is not a timestamp: write now or YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]");
        } else if (parameter.type == KwStorageValuesMap::Int) {
            if (!ReadInt(given, value.number))
                throw std::invalid_argument("'" + parameter.name + "' is not an int");
            value.text = std::to_string(value.number);
        } else {
            value.text = given;
        }
    }
}

} // namespace kwlookup
