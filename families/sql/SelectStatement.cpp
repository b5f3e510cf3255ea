// SPDX-License-Identifier: MIT
#include "families/sql/SelectStatement.h"

#include "sql/KwSQLParser.h"

#include <stdexcept>

namespace kwlookup {

namespace {

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsName(std::string_view text) {
    for (const char c : text)
        if (!IsLetter(c) && !(c >= '0' && c <= '9') && c != '_')
            return false;
    return !text.empty() && IsLetter(text[0]);
}

bool IsTable(std::string_view text) {
    const std::size_t dot = text.find('.');
    return IsName(text.substr(0, dot)) &&
           (dot == std::string_view::npos || IsName(text.substr(dot + 1)));
}

void Check(bool is_name, const std::string& name) {
    if (!is_name)
        throw std::invalid_argument("'" + name + "' in the statement is not a name");
}

[[noreturn]] void RefuseStatement(const std::string& text) {
    throw std::invalid_argument("cannot read the statement '" + text +
                                "': wait select COLUMN[, ...] from TABLE where COLUMN = "
                                "'TEMPLATE'");
}

/// `name` with each of its parts between quotes.
std::string Quoted(const std::string& name, char quote) {
    std::string quoted(1, quote);
    for (const char c : name) {
        if (c == '.')
            quoted.append({quote, '.', quote});
        else
            quoted += c;
    }
    return quoted + quote;
}

} // namespace

SelectStatement::SelectStatement(const std::string& text) {
    KwSQLParser parser(text.c_str());
    if (text.find('\0') != std::string::npos || !parser.parse_select(false))
        RefuseStatement(text);
    for (const std::string& column : parser.m_names)
        Check(column == "*" || IsName(column), column);
    Check(IsTable(parser.m_table), parser.m_table);
    Check(IsName(parser.m_where_column), parser.m_where_column);
    // To the parser, bytes that begin no word are the end of the statement. Names hold no quotes,
    // so the first one opens the value.
    const std::size_t close = text.find('\'') + 1 + parser.m_where_value.size();
    if (text.find_first_not_of(" \t\n\v\f\r", close + 1) != std::string::npos)
        RefuseStatement(text);
    m_columns = parser.m_names;
    m_table = parser.m_table;
    m_where_column = parser.m_where_column;
    m_template = parser.m_where_value;
}

std::string SelectStatement::Text(char quote, std::string_view parameter, Columns columns) const {
    std::string text = "select ";
    for (const std::string& column : m_columns) {
        if (&column != &m_columns.front())
            text += ", ";
        text += column == "*" ? column : Quoted(column, quote);
    }
    if (columns == Columns::AndCondition)
        text += ", " + Quoted(m_where_column, quote);
    text += " from " + Quoted(m_table, quote) + " where " + Quoted(m_where_column, quote) + " = ";
    return text.append(parameter);
}

} // namespace kwlookup
