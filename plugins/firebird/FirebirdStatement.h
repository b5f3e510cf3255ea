// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "plugins/firebird/FirebirdAttachment.h"
#include "plugins/firebird/Sqlda.h"
#include "plugins/firebird/TextLimit.h"

#include <cstddef>
#include <ibase.h>
#include <string>
#include <vector>

namespace kwlookup {

/// A prepared statement with one parameter, or with a second one for its number of characters.
///
/// Throws FirebirdFailure if a call fails.
/// Threads: one at a time.
class FirebirdStatement {
public:
    /// `attachment` must outlive the statement.
    FirebirdStatement(FirebirdAttachment& attachment, const std::string& text);
    ~FirebirdStatement();
    FirebirdStatement(const FirebirdStatement&) = delete;
    FirebirdStatement& operator=(const FirebirdStatement&) = delete;

    /// Put the rows for `value` into `answer`. Throws QuestionFault for a column that cannot be
    /// compared with such a value.
    void Ask(const std::string& value, Answer& answer);

private:
    /// The type of the condition's column.
    enum class Kind { Text, WholeNumber, Other };

    /// Where a value of a row goes.
    struct Cell {
        std::size_t at; ///< in m_cells
        int type;       ///< as the client library gives it
    };

    void Prepare(const std::string& text);
    void FindKind();
    void BindNumber(XSQLVAR& parameter, long long& number);
    void BindCells();
    bool Bind(const std::string& value);
    void AddRow(Answer& answer);
    void AddCell(const char* cell, int type, Answer& answer);
    std::string ReadBlob(ISC_QUAD id);

    FirebirdAttachment& m_attachment;
    isc_stmt_handle m_handle = 0;
    Sqlda m_parameter{2};
    Sqlda m_row{8}; // most statements select fewer columns
    Kind m_kind = Kind::Other;
    TextLimit m_limit;
    short m_null = 0; ///< the parameter's indicator: never null
    long long m_number = 0;
    long long m_characters = 0;
    std::vector<char> m_text; ///< the parameter's length, then its bytes
    std::vector<Cell> m_columns;
    std::vector<char> m_cells;
    std::vector<short> m_nulls;
};

} // namespace kwlookup
