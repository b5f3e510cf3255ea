// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlStatement.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "families/sql/WholeNumber.h"
#include "plugins/mysql/MysqlFault.h"

#include <errmsg.h>
#include <mysqld_error.h>
#include <new>
#include <stdexcept>
#include <utility>

namespace kwlookup {

namespace {

/// Results are short texts; this limits the memory of many rows.
constexpr std::size_t LONGEST_RESULT = 16 << 20;

/// What the server says of statements that are not a single select.
constexpr unsigned NOT_OF_ONE_RESULT =
    SERVER_MORE_RESULTS_EXIST | SERVER_STATUS_CURSOR_EXISTS | SERVER_PS_OUT_PARAMS;

} // namespace

MysqlStatement::MysqlStatement(MYSQL* mysql, const std::string& text)
    : m_mysql(mysql), m_statement(::mysql_stmt_init(mysql)) {
    if (!m_statement)
        throw std::bad_alloc();
    if (::mysql_stmt_prepare(m_statement.get(), text.data(), text.size()) != 0)
        Fail();
    // The connector does not check this.
    if (::mysql_stmt_param_count(m_statement.get()) != 1)
        throw ServerFault("the server answers with another statement");
    m_kind = FindKind();
    m_cells.resize(::mysql_stmt_field_count(m_statement.get()));
    BindCells();
}

MysqlStatement::Outcome MysqlStatement::Ask(const std::string& value, Answer& answer) {
    const bool is_fresh = std::exchange(m_is_fresh, false);
    if (m_kind == Kind::Text) {
        BindText(value);
    } else if (m_kind == Kind::Other || !BindNumber(value)) {
        if (!is_fresh)
            return Outcome::Forgotten;
        throw QuestionFault(m_kind == Kind::Other
                                ? "the condition's column holds neither texts nor whole numbers"
                                : "the condition's column holds numbers, and the value is no "
                                  "whole number");
    }
    MYSQL_STMT* const statement = m_statement.get();
    if (::mysql_stmt_execute(statement) != 0) {
        const unsigned code = ::mysql_stmt_errno(statement);
        if (code == ER_UNKNOWN_STMT_HANDLER || code == ER_NEED_REPREPARE ||
            code == CR_NEW_STMT_METADATA)
            return Outcome::Forgotten;
        if (code == ER_CANT_AGGREGATE_2COLLATIONS)
            return Outcome::OtherCharset;
        Fail();
    }
    // The connector would read the rows in another way.
    if (m_mysql->server_status & NOT_OF_ONE_RESULT)
        throw ServerFault("more than one result");
    if (FindKind() != m_kind)
        return Outcome::Forgotten;
    int fetched;
    while ((fetched = ::mysql_stmt_fetch(statement)) == 0 || fetched == MYSQL_DATA_TRUNCATED) {
        answer.AddRow();
        for (unsigned i = 0; i + 1 < m_cells.size(); ++i)
            AddCell(i, answer);
    }
    if (fetched != MYSQL_NO_DATA)
        Fail();
    return Outcome::Answered;
}

MysqlStatement::Kind MysqlStatement::FindKind() const {
    // mysql_stmt_result_metadata() gives the same, in memory of its own for each search.
    const MYSQL_STMT& statement = *m_statement;
    if (statement.field_count == 0 || !statement.fields)
        Fail();
    switch (statement.fields[statement.field_count - 1].type) {
    case MYSQL_TYPE_VARCHAR:
    case MYSQL_TYPE_VAR_STRING:
    case MYSQL_TYPE_STRING:
    case MYSQL_TYPE_TINY_BLOB:
    case MYSQL_TYPE_MEDIUM_BLOB:
    case MYSQL_TYPE_LONG_BLOB:
    case MYSQL_TYPE_BLOB:
    case MYSQL_TYPE_ENUM:
    case MYSQL_TYPE_SET:
        return Kind::Text;
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_LONGLONG:
    case MYSQL_TYPE_DECIMAL:
    case MYSQL_TYPE_NEWDECIMAL:
        return Kind::WholeNumber;
    default:
        return Kind::Other;
    }
}

void MysqlStatement::BindText(const std::string& value) {
    m_length = value.size();
    MYSQL_BIND parameter{};
    parameter.buffer_type = MYSQL_TYPE_STRING;
    parameter.buffer = const_cast<char*>(value.data());
    parameter.buffer_length = m_length;
    parameter.length = &m_length;
    Bind(parameter);
}

/// False if `value` is not a whole number. The server would read a number from the start of any
/// text.
bool MysqlStatement::BindNumber(const std::string& value) {
    const auto number = ReadWholeNumber(value);
    if (!number)
        return false;
    m_number = *number;
    MYSQL_BIND parameter{};
    parameter.buffer_type = MYSQL_TYPE_LONGLONG;
    parameter.buffer = &m_number;
    Bind(parameter);
    return true;
}

void MysqlStatement::Bind(MYSQL_BIND& parameter) {
    if (::mysql_stmt_bind_param(m_statement.get(), &parameter) != 0)
        Fail();
}

void MysqlStatement::BindCells() {
    std::vector<MYSQL_BIND> cells(m_cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        cells[i].buffer_type = MYSQL_TYPE_STRING;
        cells[i].buffer = m_cells[i].text.data();
        cells[i].buffer_length = m_cells[i].text.size();
        cells[i].length = &m_cells[i].length;
        cells[i].is_null = &m_cells[i].is_null;
        cells[i].error = &m_cells[i].is_cut;
    }
    if (::mysql_stmt_bind_result(m_statement.get(), cells.data()) != 0)
        Fail();
}

void MysqlStatement::AddCell(unsigned column, Answer& answer) {
    const Cell& cell = m_cells[column];
    if (cell.is_null)
        return;
    if (cell.length <= cell.text.size()) {
        answer.AddValue({cell.text.data(), cell.length});
    } else {
        m_long.resize(cell.length);
        MYSQL_BIND whole{};
        whole.buffer_type = MYSQL_TYPE_STRING;
        whole.buffer = m_long.data();
        whole.buffer_length = m_long.size();
        if (::mysql_stmt_fetch_column(m_statement.get(), &whole, column, 0) != 0)
            Fail();
        answer.AddValue(m_long);
        m_long = std::string();
    }
    if (answer.GetResult().size() > LONGEST_RESULT)
        throw std::runtime_error("the result is longer than 16 MiB");
}

void MysqlStatement::Fail() const {
    MYSQL_STMT* const statement = m_statement.get();
    if (::mysql_stmt_errno(statement) != 0)
        FailMysql(::mysql_stmt_errno(statement), ::mysql_stmt_error(statement));
    // After fetching rows, only the connection has the error.
    const unsigned code = ::mysql_errno(m_mysql);
    const bool was_long = code == CR_SERVER_LOST && m_mysql->net.error == 1;
    FailMysql(was_long ? CR_NET_PACKET_TOO_LARGE : code, ::mysql_error(m_mysql));
}

} // namespace kwlookup
