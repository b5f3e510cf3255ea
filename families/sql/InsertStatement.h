// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/StoredRow.h"
#include "host/KwStorageValuesMap.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kwlookup {

/// The statement of a storage in an SQL database: insert into TABLE values (:NAME<TYPE>[, ...]),
/// with a value for each column of the table, in order. A record is never part of it: each value is
/// passed to the database as the value of a parameter.
///
/// Threads: any, because it never changes.
class InsertStatement {
public:
    /// Throws std::invalid_argument "cannot read the statement 'TEXT': ...", and "'NAME' in the
    /// statement is not a name". A name is a letter followed by letters, digits and '_'.
    explicit InsertStatement(const std::string& text);

    /// The text as configured.
    const std::string& GetText() const { return m_text; }

    const std::string& GetTable() const { return m_table; }

    /// The name of a value, by the number of its column from 0 on.
    const std::string& GetName(std::size_t column) const { return m_parameters[column].name; }

    /// Writes the table's name as FoldSqlName() does.
    void FoldTable();

    /// The statement for the database, with the table's name between two `quote` characters and
    /// `mark` for each value. After the mark '$' comes the number of the value, from 1 on.
    std::string Text(char quote, char mark) const;

    /// A statement that returns all columns of the table, and no row.
    std::string ColumnsText(char quote) const;

    /// Makes `row` the values of `record` in the order of the columns. Values with other names are
    /// ignored, and so are the types in the record. An old row costs less than a new one.
    ///
    /// Throws std::invalid_argument "'NAME' is missing", "'NAME' is not an int", and "'NAME' is not
    /// a timestamp: write now or YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]".
    void Convert(const KwStorageValuesMap& record, StoredRow& row) const;

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
