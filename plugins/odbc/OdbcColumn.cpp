// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcColumn.h"

#include "plugins/odbc/OdbcDiagnosis.h"
#include "plugins/odbc/OdbcHandle.h"

#include <sqlext.h>
#include <sqlucode.h>

namespace kwlookup {

namespace {

OdbcColumn ColumnOf(SQLSMALLINT type) {
    using Kind = OdbcColumn::Kind;
    switch (type) {
    case SQL_CHAR:
    case SQL_VARCHAR:
    case SQL_WCHAR:
    case SQL_WVARCHAR:
        return {Kind::Text, false};
    case SQL_LONGVARCHAR:
    case SQL_WLONGVARCHAR:
        return {Kind::Text, true};
    case SQL_BINARY:
    case SQL_VARBINARY:
        return {Kind::Bytes, false};
    case SQL_LONGVARBINARY:
        return {Kind::Bytes, true};
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_NUMERIC:
    case SQL_DECIMAL:
        return {Kind::WholeNumber, false};
    case SQL_TYPE_TIMESTAMP:
        return {Kind::Moment, false};
    default:
        return {Kind::Other, false};
    }
}

} // namespace

std::vector<OdbcColumn> DescribeColumns(SQLHANDLE connection, const std::string& text) {
    const OdbcHandle<SQL_HANDLE_STMT> handle(connection);
    const SQLHANDLE statement = handle.Get();
    ExecuteOdbc(connection, statement, text);
    SQLSMALLINT count = 0;
    CheckOdbc(statement, ::SQLNumResultCols(statement, &count));
    std::vector<OdbcColumn> columns;
    for (SQLUSMALLINT i = 1; i <= count; ++i) {
        SQLSMALLINT type = SQL_UNKNOWN_TYPE;
        SQLCHAR name[8];
        SQLSMALLINT length, digits, nullable;
        SQLULEN size;
        CheckOdbc(statement, ::SQLDescribeCol(statement, i, name, sizeof(name), &length, &type,
                                              &size, &digits, &nullable));
        columns.push_back(ColumnOf(type));
    }
    return columns;
}

} // namespace kwlookup
