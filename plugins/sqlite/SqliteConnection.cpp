// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteConnection.h"

#include <memory>
#include <new>
#include <stdexcept>

namespace kwlookup {

bool SqliteConnection::Find(std::string_view value, int max_rows, Values& values) {
    Begin();
    // Ends the read transaction on every path, so that writers can proceed.
    const auto reset = [](sqlite3_stmt* statement) {
        ::sqlite3_reset(statement);
        ::sqlite3_clear_bindings(statement);
    };
    const std::unique_ptr<sqlite3_stmt, decltype(reset)> running(m_statement.get(), reset);
    if (::sqlite3_bind_text64(m_statement.get(), 1, value.data(), value.size(), SQLITE_STATIC,
                              SQLITE_UTF8) != SQLITE_OK)
        Fail();
    int rows = 0;
    while (Step(m_statement.get()) == SQLITE_ROW) {
        if (++rows > max_rows)
            throw std::runtime_error(GetName() + ": more rows than MaxRows, " +
                                     std::to_string(max_rows));
        if (values.IsWanted())
            AddRow(values);
    }
    return rows > 0;
}

void SqliteConnection::AddRow(Values& values) const {
    sqlite3_stmt* const statement = m_statement.get();
    const int columns = ::sqlite3_column_count(statement);
    for (int i = 0; i < columns; ++i) {
        const unsigned char* const text = ::sqlite3_column_text(statement, i);
        const int size = ::sqlite3_column_bytes(statement, i);
        if (text)
            values.Add({reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
        else if (::sqlite3_errcode(Get()) == SQLITE_NOMEM)
            throw std::bad_alloc();
    }
}

} // namespace kwlookup
