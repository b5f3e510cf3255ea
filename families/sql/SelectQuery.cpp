// SPDX-License-Identifier: MIT
#include "families/sql/SelectQuery.h"

namespace kwlookup {

SelectQuery::SelectQuery(const std::string& text, char quote, std::string_view parameter,
                         std::size_t max_rows, SelectStatement::Columns columns)
    : SelectQuery(text, SelectStatement(text), quote, parameter, max_rows, columns) {}

SelectQuery::SelectQuery(const std::string& text, const SelectStatement& select, char quote,
                         std::string_view parameter, std::size_t max_rows,
                         SelectStatement::Columns columns)
    : SelectQuery(text, select,
                  select.Text(quote, parameter, columns) + " limit " +
                      std::to_string(max_rows + 1)) {}

} // namespace kwlookup
