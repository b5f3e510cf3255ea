// SPDX-License-Identifier: MIT
#include "plugins/common/SelectStatement.h"

#include "sql/KwSQLParser.h"

#include <stdexcept>

namespace {

bool IsName(std::string_view text) {
    for (const char c : text)
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '_'))
            return false;
    return !text.empty() && !(text[0] >= '0' && text[0] <= '9');
}

/// But for white space. To the parser, bytes that begin no word are the end of the statement.
bool EndsWith(std::string_view text, std::string_view end) {
    text = text.substr(0, text.find_last_not_of(" \t\n\v\f\r") + 1);
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

void CheckName(const std::string& name) {
    if (!IsName(name))
        throw std::invalid_argument("'" + name + "' in the statement is not a name");
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
    if (text.find('\0') != std::string::npos || !parser.parse_select(false) ||
        !EndsWith(text, parser.m_where_value + "'"))
        throw std::invalid_argument("cannot read the statement '" + text +
                                    "': wait select COLUMN[, ...] from TABLE where COLUMN = "
                                    "'TEMPLATE'");
    for (const std::string& column : parser.m_names)
        if (column != "*")
            CheckName(column);
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = parser.m_table.find('.', begin);
        if (!IsName(std::string_view(parser.m_table).substr(begin, end - begin)))
            throw std::invalid_argument("'" + parser.m_table + "' in the statement is not a name");
    }
    CheckName(parser.m_where_column);
    m_columns = parser.m_names;
    m_table = parser.m_table;
    m_where_column = parser.m_where_column;
    m_template = parser.m_where_value;
}

std::string SelectStatement::Text(char quote, std::string_view parameter) const {
    std::string text = "select ";
    for (const std::string& column : m_columns) {
        if (&column != &m_columns.front())
            text += ", ";
        text += column == "*" ? column : Quoted(column, quote);
    }
    text += " from " + Quoted(m_table, quote) + " where " + Quoted(m_where_column, quote) + " = ";
    return text.append(parameter);
}
