// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"

#include <array>
#include <memory>
#include <mysql.h>
#include <string>
#include <vector>

namespace kwlookup {

/// A prepared statement with one parameter. Its last column is the one that the parameter is
/// compared with.
///
/// Threads: one at a time. Call while a MysqlWait exists.
class MysqlStatement {
public:
    /// Prepares `text`. Throws what FailMysql() throws.
    MysqlStatement(MYSQL* mysql, const std::string& text);

    enum class Outcome {
        Answered,
        Forgotten,   ///< dropped by the server, or the table may have changed: prepare it again
        OtherCharset ///< the value cannot be written in the column's character set
    };

    /// Put the rows for `value` into `answer`, without the last column. Throws what FailMysql()
    /// throws, and QuestionFault for a column that cannot be compared with such a value.
    Outcome Ask(const std::string& value, Answer& answer);

private:
    /// The kind of the condition's column.
    enum class Kind { Text, WholeNumber, Other };

    /// A value of a row. A value that does not fit is fetched again.
    struct Cell {
        std::array<char, 256> text;
        unsigned long length;
        my_bool is_null;
        my_bool is_cut;
    };

    struct Close {
        void operator()(MYSQL_STMT* statement) const { ::mysql_stmt_close(statement); }
    };

    Kind FindKind() const;
    void BindText(const std::string& value);
    bool BindNumber(const std::string& value);
    void Bind(MYSQL_BIND& parameter);
    void BindCells();
    void AddCell(unsigned column, Answer& answer);
    [[noreturn]] void Fail() const;

    MYSQL* const m_mysql;
    std::unique_ptr<MYSQL_STMT, Close> m_statement;
    Kind m_kind;
    bool m_is_fresh = true; ///< not used yet
    long long m_number = 0; ///< the parameter, if numbers are compared
    unsigned long m_length = 0;
    std::vector<Cell> m_cells;
    std::string m_long; ///< a value that does not fit into a cell
};

} // namespace kwlookup
