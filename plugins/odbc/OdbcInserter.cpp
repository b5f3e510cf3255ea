// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcInserter.h"

#include "families/servers/QuestionFault.h"
#include "plugins/odbc/OdbcDiagnosis.h"

#include <algorithm>
#include <sqlext.h>

namespace kwlookup {

namespace {

/// The most that a timestamp takes, and of that behind the point.
constexpr SQLULEN TIMESTAMP_SIZE = sizeof("YYYY-MM-DD HH:MM:SS.FFFFFF") - 1;
constexpr SQLSMALLINT TIMESTAMP_DIGITS = 6;

} // namespace

OdbcInserter::OdbcInserter(SQLHANDLE connection, const InsertStatement& insert, char quote,
                           std::uintptr_t seconds)
    : m_insert(insert), m_text(insert.Text(quote, '?')),
      m_columns(DescribeColumns(connection, insert.ColumnsText(quote))), m_statement(connection),
      m_lengths(m_columns.size()) {
    // A driver without such a limit returns an error, which does no harm.
    ::SQLSetStmtAttr(m_statement.Get(), SQL_ATTR_QUERY_TIMEOUT,
                     reinterpret_cast<SQLPOINTER>(seconds), 0);
}

void OdbcInserter::Prepare() {
    CheckOdbc(m_statement.Get(), ::SQLPrepare(m_statement.Get(), OdbcText(m_text),
                                              static_cast<SQLINTEGER>(m_text.size())));
}

void OdbcInserter::Insert(const StoredRow& row) {
    if (row.size() != m_columns.size())
        throw QuestionFault("table " + m_insert.GetTable() + " has " +
                            std::to_string(m_columns.size()) + " columns, and the statement has " +
                            std::to_string(row.size()) + " values");
    for (std::size_t i = 0; i < row.size(); ++i)
        Bind(i, row[i]);
    const SQLRETURN done = ::SQLExecute(m_statement.Get());
    if (done != SQL_NO_DATA)
        CheckOdbc(m_statement.Get(), done);
}

void OdbcInserter::Bind(std::size_t i, const StoredValue& value) {
    using Kind = OdbcColumn::Kind;
    const OdbcColumn& column = m_columns[i];
    const bool is_bytes = column.kind == Kind::Bytes;
    SQLSMALLINT c_type = is_bytes ? SQL_C_BINARY : SQL_C_CHAR;
    SQLSMALLINT type = is_bytes ? SQL_VARBINARY : SQL_VARCHAR;
    if (column.is_long)
        type = is_bytes ? SQL_LONGVARBINARY : SQL_LONGVARCHAR;
    SQLPOINTER data = OdbcText(value.text);
    SQLULEN size = std::max<SQLULEN>(value.text.size(), 1);
    SQLSMALLINT digits = 0;
    m_lengths[i] = static_cast<SQLLEN>(value.text.size());
    if (value.type == KwStorageValuesMap::Int && column.kind == Kind::WholeNumber) {
        c_type = SQL_C_SBIGINT;
        type = SQL_BIGINT;
        data = const_cast<long long*>(&value.number);
        m_lengths[i] = sizeof(value.number);
    } else if (value.type == KwStorageValuesMap::Timestamp && column.kind == Kind::Moment) {
        type = SQL_TYPE_TIMESTAMP;
        size = TIMESTAMP_SIZE;
        digits = TIMESTAMP_DIGITS;
    } else if (!is_bytes && value.text.find('\0') != std::string::npos) {
        // Drivers end a text at a NUL byte.
        throw QuestionFault("'" + m_insert.GetName(i) +
                            "' has a NUL byte, which only a column of bytes can hold");
    }
    CheckOdbc(m_statement.Get(),
              ::SQLBindParameter(m_statement.Get(), static_cast<SQLUSMALLINT>(i + 1),
                                 SQL_PARAM_INPUT, c_type, type, size, digits, data, m_lengths[i],
                                 &m_lengths[i]));
}

} // namespace kwlookup
