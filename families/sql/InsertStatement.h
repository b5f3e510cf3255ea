// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoredRow.h"
#include "host/KwStorageValuesMap.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The statement of an item that is stored into: insert into TABLE values (:NAME<TYPE>[, ...]),
/// with a value for each column of the table, in their order. Nothing of a record is ever a part of
/// it: each value goes to the database as that of a parameter.
///
/// Threads: any; it never changes.
class InsertStatement {
public:
    /// Throws std::invalid_argument "cannot read the statement 'TEXT': ...", and "'NAME' in the
    /// statement is not a name" for what is not letters, digits and '_', a letter first.
    explicit InsertStatement(const std::string& text);

    /// As it is configured.
    const std::string& GetText() const { return m_text; }

    const std::string& GetTable() const { return m_table; }

    /// The statement for the database: the table's name between two `quote` characters, and for
    /// each value `mark`, followed by its number from 1 on where `mark` is '$'.
    std::string Text(char quote, char mark) const;

    /// The values of `record` in the order of the columns. Its values of other names are left out,
    /// and the types that it names do not count.
    ///
    /// Throws std::invalid_argument "'NAME' is missing", "'NAME' is not an int", and "'NAME' is not
    /// a timestamp: write now or YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]".
    StoredRow Convert(const KwStorageValuesMap& record) const;

private:
    struct Parameter {
        std::string name;
        KwStorageValuesMap::Type type;
    };

    std::string m_text;
    std::string m_table;
    std::vector<Parameter> m_parameters;
};

} // namespace kwlookup
