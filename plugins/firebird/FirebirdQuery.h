// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/SelectQuery.h"
#include "plugins/firebird/FirebirdConfig.h"

#include <string>

namespace kwlookup {

/// The statement of an item for Firebird.
class FirebirdQuery : public SelectQuery {
public:
    FirebirdQuery(const std::string& text, const FirebirdConfig& config)
        : FirebirdQuery(text, Folded(text), config.GetVal<int>("MaxRows")) {}

    /// The statement for values that end in a blank. Firebird ignores such blanks when it compares,
    /// so a second parameter is the number of characters.
    const std::string& GetExactStatement() const { return m_exact_statement; }

private:
    FirebirdQuery(const std::string& text, const SelectStatement& select, int max_rows)
        : SelectQuery(text, select, Written(select, "?", max_rows)),
          m_exact_statement(Written(
              select, "? and char_length(\"" + select.GetConditionColumn() + "\") = ?", max_rows)) {
    }

    static std::string Written(const SelectStatement& select, const std::string& parameter,
                               int max_rows) {
        return select.Text('"', parameter) + " rows " +
               std::to_string(static_cast<long long>(max_rows) + 1);
    }

    static SelectStatement Folded(const std::string& text) {
        SelectStatement select(text);
        select.FoldNames();
        return select;
    }

    std::string m_exact_statement;
};

} // namespace kwlookup
