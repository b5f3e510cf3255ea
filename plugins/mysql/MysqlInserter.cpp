// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlInserter.h"

#include "families/servers/ServerFault.h"
#include "plugins/mysql/MysqlFault.h"

#include <new>

namespace kwlookup {

MysqlInserter::MysqlInserter(MYSQL* mysql, const std::string& text)
    : m_statement(::mysql_stmt_init(mysql)) {
    if (!m_statement)
        throw std::bad_alloc();
    if (::mysql_stmt_prepare(m_statement.get(), text.data(), text.size()) != 0)
        Fail();
    m_values.resize(::mysql_stmt_param_count(m_statement.get()));
    m_lengths.resize(m_values.size());
}

void MysqlInserter::Insert(const StoredRow& row) {
    // What the connector does not check.
    if (row.size() != m_values.size())
        throw ServerFault("the server answers with another statement");
    for (std::size_t i = 0; i < row.size(); ++i) {
        MYSQL_BIND& value = m_values[i];
        value = MYSQL_BIND{};
        if (row[i].type == KwStorageValuesMap::Int) {
            value.buffer_type = MYSQL_TYPE_LONGLONG;
            value.buffer = const_cast<long long*>(&row[i].number);
        } else {
            m_lengths[i] = row[i].text.size();
            value.buffer_type = MYSQL_TYPE_STRING;
            value.buffer = const_cast<char*>(row[i].text.data());
            value.buffer_length = m_lengths[i];
            value.length = &m_lengths[i];
        }
    }
    if (::mysql_stmt_bind_param(m_statement.get(), m_values.data()) != 0 ||
        ::mysql_stmt_execute(m_statement.get()) != 0)
        Fail();
}

void MysqlInserter::Fail() const {
    FailMysql(::mysql_stmt_errno(m_statement.get()), ::mysql_stmt_error(m_statement.get()));
}

} // namespace kwlookup
