// SPDX-License-Identifier: MIT
#include "families/sql/SelectStatement.h"

#include "families/sql/SqlName.h"
#include "sql/KwSQLParser.h"

#include <stdexcept>

namespace kwlookup {

namespace {

bool IsTable(std::string_view text) {
    const std::size_t dot = text.find('.');
    return IsSqlName(text.substr(0, dot)) &&
           (dot == std::string_view::npos || IsSqlName(text.substr(dot + 1)));
}

[[noreturn]] void RefuseStatement(const std::string& text) {
    throw std::invalid_argument("cannot read the statement '" + text +
                                "': wait select COLUMN[, ...] from TABLE where COLUMN = "
                                "'TEMPLATE'");
}

} // namespace

SelectStatement::SelectStatement(const std::string& text) {
    KwSQLParser parser(text.c_str());
    if (text.find('\0') != std::string::npos || !parser.parse_select(false))
        RefuseStatement(text);
    for (const std::string& column : parser.m_names)
        CheckSqlName(column == "*" || IsSqlName(column), column);
    CheckSqlName(IsTable(parser.m_table), parser.m_table);
    CheckSqlName(IsSqlName(parser.m_where_column), parser.m_where_column);
    // For the parser, a byte that cannot begin a word ends the statement, so check that nothing
    // follows the value. Names have no quotes, so the first quote opens the value.
    const std::size_t close = text.find('\'') + 1 + parser.m_where_value.size();
    if (text.find_first_not_of(" \t\n\v\f\r", close + 1) != std::string::npos)
        RefuseStatement(text);
    m_columns = parser.m_names;
    m_table = parser.m_table;
    m_where_column = parser.m_where_column;
    m_template = parser.m_where_value;
}

void SelectStatement::FoldNames() {
    for (std::string& column : m_columns)
        FoldSqlName(column);
    const std::size_t dot = m_table.find('.');
    std::string folded = m_table.substr(0, dot);
    FoldSqlName(folded);
    if (dot != std::string::npos) {
        std::string table = m_table.substr(dot + 1);
        FoldSqlName(table);
        folded += '.' + table;
    }
    m_table = folded;
    FoldSqlName(m_where_column);
}

std::string SelectStatement::Text(char quote, std::string_view parameter, Columns columns) const {
    std::string text = "select ";
    for (const std::string& column : m_columns) {
        if (&column != &m_columns.front())
            text += ", ";
        text += column == "*" ? column : QuotedSqlName(column, quote);
    }
    if (columns == Columns::AndCondition)
        text += ", " + QuotedSqlName(m_where_column, quote);
    text += " from " + QuotedSqlName(m_table, quote) + " where " +
            QuotedSqlName(m_where_column, quote) + " = ";
    return text.append(parameter);
}

std::string SelectStatement::TypeText(char quote) const {
    return "select " + QuotedSqlName(m_where_column, quote) + " from " +
           QuotedSqlName(m_table, quote) + " where 1 = 0";
}

} // namespace kwlookup
