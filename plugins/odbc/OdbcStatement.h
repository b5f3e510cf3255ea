// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/sql/SelectStatement.h"
#include "plugins/odbc/OdbcColumn.h"
#include "plugins/odbc/OdbcHandle.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kwlookup {

/// Limits that a driver may or may not apply.
struct OdbcLimits {
    std::size_t max_rows;
    std::uintptr_t seconds;
};

/// A prepared statement with one parameter.
///
/// Throws OdbcDiagnosis if a call fails.
/// Threads: one at a time.
class OdbcStatement {
public:
    /// Prepare `select`, with each name between two `quote` characters.
    OdbcStatement(SQLHANDLE connection, const SelectStatement& select, char quote,
                  const OdbcLimits& limits);

    /// Put the rows for `value` into `answer`. Throws QuestionFault for a column that cannot be
    /// compared with such a value.
    void Ask(const std::string& value, Answer& answer);

private:
    bool Execute(const std::string& value);
    void AddCell(SQLUSMALLINT column, Answer& answer);
    void Check(SQLRETURN done) const;

    const OdbcColumn::Kind m_kind; ///< of the condition's column
    OdbcHandle<SQL_HANDLE_STMT> m_statement;
    std::array<char, 1024> m_cell;
    std::string m_long; ///< a value that does not fit into the cell
};

} // namespace kwlookup
