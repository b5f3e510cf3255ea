// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The statement of a lookup in an SQL database: select COLUMN[, ...] from TABLE where COLUMN =
/// 'TEMPLATE'. A searched text is never part of it: the expanded template is passed to the database
/// as the value of a parameter.
class SelectStatement {
public:
    /// Throws std::invalid_argument "cannot read the statement 'TEXT': ...", and "'NAME' in the
    /// statement is not a name". A name is a letter followed by letters, digits and '_'. A table
    /// may be two names separated by a dot.
    explicit SelectStatement(const std::string& text);

    const std::string& GetTemplate() const { return m_template; }
    const std::string& GetConditionColumn() const { return m_where_column; }

    /// Write each name that has no capital letter in capital letters. Some databases store names
    /// so that were created without quotes.
    void FoldNames();

    /// The columns that the database returns: those of the statement, and perhaps that of the
    /// condition after them.
    enum class Columns { Selected, AndCondition };

    /// The statement for the database, with each name between two `quote` characters and
    /// `parameter` in the place of the value.
    std::string Text(char quote, std::string_view parameter,
                     Columns columns = Columns::Selected) const;

    /// A statement that selects the condition's column and no rows, to learn its type.
    std::string TypeText(char quote) const;

private:
    std::vector<std::string> m_columns;
    std::string m_table;
    std::string m_where_column;
    std::string m_template;
};

} // namespace kwlookup
