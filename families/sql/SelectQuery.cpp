// SPDX-License-Identifier: MIT
#include "families/sql/SelectQuery.h"

namespace kwlookup {

SelectQuery::SelectQuery(const std::string& text, char quote, std::string_view parameter,
                         std::size_t max_rows)
    : SelectQuery(text, SelectStatement(text), quote, parameter, max_rows) {}

SelectQuery::SelectQuery(const std::string& text, const SelectStatement& select, char quote,
                         std::string_view parameter, std::size_t max_rows)
    : m_text(text),
      m_statement(select.Text(quote, parameter) + " limit " + std::to_string(max_rows + 1)),
      m_template(select.GetTemplate()) {}

} // namespace kwlookup
