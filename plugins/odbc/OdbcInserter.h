// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/InsertStatement.h"
#include "families/sql/StoredRow.h"
#include "plugins/odbc/OdbcColumn.h"
#include "plugins/odbc/OdbcHandle.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// An insert statement of a connection.
///
/// Throws OdbcDiagnosis when a call fails. Threads: one at a time.
class OdbcInserter {
public:
    /// Looks at the columns of the table, so the user needs the right to read it.
    OdbcInserter(SQLHANDLE connection, const InsertStatement& insert, char quote,
                 std::uintptr_t seconds);

    void Prepare();

    /// Throws QuestionFault "'NAME' has a NUL byte, which only a column of bytes can hold".
    void Insert(const StoredRow& row);

private:
    void Bind(std::size_t i, const StoredValue& value);

    const InsertStatement m_insert;
    const std::string m_text;
    const std::vector<OdbcColumn> m_columns;
    OdbcHandle<SQL_HANDLE_STMT> m_statement;
    std::vector<SQLLEN> m_lengths;
};

} // namespace kwlookup
