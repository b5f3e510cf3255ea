// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/SelectStatement.h"
#include "lookup/config/QueryTemplate.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace kwlookup {

/// The query of an item for an SQL server: a statement, and the value for a searched text.
///
/// Threads: any.
class SelectQuery {
public:
    /// For `quote`, `parameter` and `columns` see SelectStatement::Text(). The statement is limited
    /// to one row more than `max_rows`. Throws what SelectStatement and QueryTemplate throw.
    SelectQuery(const std::string& text, char quote, std::string_view parameter,
                std::size_t max_rows,
                SelectStatement::Columns columns = SelectStatement::Columns::Selected);

    const std::string& GetText() const { return m_text; }
    const std::string& GetKey() const { return m_text; }

    /// The statement for the server.
    const std::string& GetStatement() const { return m_statement; }

    /// Set `value` to the expanded template. False if the text has no part for a code.
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& value) const {
        return m_template.Expand(lookup, finder, flags, value);
    }

    /// The text for *matched after a match: the value.
    const std::string& Matched(const std::string& value) const { return value; }

protected:
    /// `statement` is that of `select` for a server that writes it in another way.
    SelectQuery(std::string text, const SelectStatement& select, std::string statement)
        : m_text(std::move(text)), m_statement(std::move(statement)),
          m_template(select.GetTemplate()) {}

private:
    SelectQuery(const std::string& text, const SelectStatement& select, char quote,
                std::string_view parameter, std::size_t max_rows, SelectStatement::Columns columns);

    std::string m_text;
    std::string m_statement;
    QueryTemplate m_template;
};

} // namespace kwlookup
