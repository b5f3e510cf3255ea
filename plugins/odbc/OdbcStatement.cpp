// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcStatement.h"

#include "families/servers/QuestionFault.h"
#include "families/sql/WholeNumber.h"
#include "plugins/odbc/OdbcDiagnosis.h"
#include "text/IsUtf8.h"

#include <algorithm>
#include <sqlext.h>
#include <sqlucode.h>
#include <stdexcept>

namespace kwlookup {

namespace {

/// A result is a line of text. This limits the memory of many rows.
constexpr std::size_t LONGEST_RESULT = 16 << 20;

/// A driver that cuts a text within a character may leave out the bytes of that character.
constexpr std::size_t LONGEST_CHARACTER = 4;

/// SQLSTATE for a text that is invalid in the server's character set.
constexpr const char* BAD_BYTES = "22021";

} // namespace

OdbcStatement::OdbcStatement(SQLHANDLE connection, const SelectStatement& select, char quote,
                             const OdbcLimits& limits)
    : m_kind(DescribeColumns(connection, select.TypeText(quote)).front().kind),
      m_statement(connection) {
    const SQLHANDLE statement = m_statement.Get();
    // A driver without such limits returns an error, which does no harm.
    ::SQLSetStmtAttr(statement, SQL_ATTR_QUERY_TIMEOUT,
                     reinterpret_cast<SQLPOINTER>(limits.seconds), 0);
    ::SQLSetStmtAttr(statement, SQL_ATTR_MAX_ROWS,
                     reinterpret_cast<SQLPOINTER>(limits.max_rows + 1), 0);
    const std::string text = select.Text(quote, "?");
    Check(::SQLPrepare(statement, OdbcText(text), static_cast<SQLINTEGER>(text.size())));
}

void OdbcStatement::Ask(const std::string& value, Answer& answer) {
    const SQLHANDLE statement = m_statement.Get();
    struct Cursor {
        SQLHANDLE statement;
        ~Cursor() { ::SQLFreeStmt(statement, SQL_CLOSE); }
    };
    const Cursor cursor{statement};
    if (!Execute(value))
        return;
    SQLSMALLINT columns = 0;
    Check(::SQLNumResultCols(statement, &columns));
    SQLRETURN fetched;
    while ((fetched = ::SQLFetch(statement)) != SQL_NO_DATA) {
        Check(fetched);
        answer.AddRow();
        for (SQLUSMALLINT i = 1; i <= columns; ++i)
            AddCell(i, answer);
    }
}

/// False if no text of the database can equal `value`.
bool OdbcStatement::Execute(const std::string& value) {
    if (m_kind == OdbcColumn::Kind::Other || m_kind == OdbcColumn::Kind::Moment)
        throw QuestionFault("the condition's column holds neither texts nor whole numbers");
    // Drivers end a text at a NUL byte.
    if (m_kind == OdbcColumn::Kind::Text && value.find('\0') != std::string::npos)
        return false;
    SQLBIGINT number = 0;
    SQLSMALLINT type = m_kind == OdbcColumn::Kind::Bytes ? SQL_VARBINARY : SQL_VARCHAR;
    SQLSMALLINT c_type = m_kind == OdbcColumn::Kind::Bytes ? SQL_C_BINARY : SQL_C_CHAR;
    SQLPOINTER data = OdbcText(value);
    auto length = static_cast<SQLLEN>(value.size());
    if (m_kind == OdbcColumn::Kind::WholeNumber) {
        const auto read = ReadWholeNumber(value);
        if (!read)
            throw QuestionFault("the condition's column holds numbers, and the value is no whole "
                                "number");
        number = *read;
        type = SQL_BIGINT;
        c_type = SQL_C_SBIGINT;
        data = &number;
        length = sizeof(number);
    }
    const SQLHANDLE statement = m_statement.Get();
    Check(::SQLBindParameter(statement, 1, SQL_PARAM_INPUT, c_type, type,
                             std::max<SQLULEN>(value.size(), 1), 0, data, length, &length));
    const SQLRETURN done = ::SQLExecute(statement);
    if (SQL_SUCCEEDED(done) || done == SQL_NO_DATA)
        return true;
    const OdbcDiagnosis diagnosis(SQL_HANDLE_STMT, statement);
    if (m_kind == OdbcColumn::Kind::Text && diagnosis.GetState() == BAD_BYTES && !IsUtf8(value))
        return false;
    throw OdbcDiagnosis(diagnosis);
}

void OdbcStatement::AddCell(SQLUSMALLINT column, Answer& answer) {
    m_long.clear();
    for (;;) {
        std::fill(m_cell.end() - LONGEST_CHARACTER - 1, m_cell.end(), '\0');
        SQLLEN length = 0;
        const SQLRETURN done = ::SQLGetData(m_statement.Get(), column, SQL_C_CHAR, m_cell.data(),
                                            static_cast<SQLLEN>(m_cell.size()), &length);
        if (done == SQL_NO_DATA)
            break;
        Check(done);
        if (length == SQL_NULL_DATA)
            return;
        const auto size = static_cast<std::size_t>(length);
        if (length != SQL_NO_TOTAL && size < m_cell.size()) {
            if (m_long.empty())
                answer.AddValue({m_cell.data(), size});
            else
                m_long.append(m_cell.data(), size);
            break;
        }
        std::string_view part(m_cell.data(), m_cell.size() - 1);
        m_long.append(part.substr(0, part.find_last_not_of('\0') + 1));
        if (m_long.size() > LONGEST_RESULT)
            break;
    }
    answer.AddValue(m_long);
    if (answer.GetResult().size() > LONGEST_RESULT)
        throw std::runtime_error("the result is longer than 16 MiB");
}

void OdbcStatement::Check(SQLRETURN done) const {
    CheckOdbc(m_statement.Get(), done);
}

} // namespace kwlookup
