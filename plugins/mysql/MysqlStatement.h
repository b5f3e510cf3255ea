// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"

#include <array>
#include <memory>
#include <mysql.h>
#include <string>
#include <vector>

namespace kwlookup {

/// A statement that the server has prepared, with one parameter. The last of its columns is the one
/// that the parameter is compared with.
///
/// Threads: one at a time. All calls while a MysqlWait is there.
class MysqlStatement {
public:
    /// Prepares `text`. Throws what FailMysql() throws.
    MysqlStatement(MYSQL* mysql, const std::string& text);

    enum class Outcome {
        Answered,
        Forgotten,   ///< by the server, or the table may have changed: prepare it again
        OtherCharset ///< the column's character set does not have the value
    };

    /// Puts the rows for `value` into `answer`, without the last column. Throws what FailMysql()
    /// throws, and QuestionFault for a column that is not compared with such a value.
    Outcome Ask(const std::string& value, Answer& answer);

private:
    /// What the condition's column holds.
    enum class Kind { Text, WholeNumber, Other };

    /// A value of a row; those that do not fit are fetched again.
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
    bool m_is_fresh = true; ///< nothing has been asked with it yet
    long long m_number = 0; ///< the parameter, where numbers are compared
    unsigned long m_length = 0;
    std::vector<Cell> m_cells;
    std::string m_long; ///< a value that fits into no cell
};

} // namespace kwlookup
