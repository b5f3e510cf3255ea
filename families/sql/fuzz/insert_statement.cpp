// SPDX-License-Identifier: MIT
// Parses the first line as a statement that stores, and the rest as the value of each name in it.
// An accepted statement must be a single one for SQLite too, with a parameter for each value, and
// what a record is converted to must be of the statement's types.
#include "families/sql/InsertStatement.h"
#include "fuzz/Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

using namespace kwlookup;

namespace {

sqlite3* OpenDatabase() {
    sqlite3* db = nullptr;
    Require(::sqlite3_open(":memory:", &db) == SQLITE_OK);
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    return db;
}

/// Prepares `statement` for a table with as many columns.
void RequireSingleStatement(sqlite3* db, const std::string& table, const std::string& statement,
                            std::size_t columns) {
    std::string create = "create temp table \"" + table + "\" (";
    for (std::size_t i = 0; i < columns; ++i)
        create += (i ? ", c" : "c") + std::to_string(i);
    // SQLite reserves some names for itself.
    if (::sqlite3_exec(db, (create + ")").c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        return;
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    Require(::sqlite3_prepare_v2(db, statement.c_str(), -1, &prepared, &tail) == SQLITE_OK);
    Require(prepared && *tail == '\0');
    Require(static_cast<std::size_t>(::sqlite3_bind_parameter_count(prepared)) == columns);
    ::sqlite3_finalize(prepared);
    ::sqlite3_exec(db, ("drop table \"" + table + "\"").c_str(), nullptr, nullptr, nullptr);
}

void RequireTypes(const StoredRow& row, const std::string& given) {
    constexpr std::size_t SHORTEST_TIME = sizeof("YYYY-MM-DD HH:MM:SS") - 1;
    for (const StoredValue& value : row) {
        if (value.type == KwStorageValuesMap::Varchar)
            Require(value.text == given);
        else if (value.type == KwStorageValuesMap::Int)
            Require(value.text == std::to_string(value.number));
        else
            Require(value.text.size() >= SHORTEST_TIME &&
                    value.text.find_first_not_of("0123456789-: .") == std::string::npos);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static sqlite3* const db = OpenDatabase();
    const std::string input(data, data + size);
    const std::size_t line = std::min(input.find('\n'), size);
    const std::string value = input.substr(std::min(line + 1, size));
    try {
        const InsertStatement insert(input.substr(0, line));
        const std::string statement = insert.Text('"', '?');
        const auto columns =
            static_cast<std::size_t>(std::count(statement.begin(), statement.end(), '?'));
        // SQLite has a limit for the number of columns.
        if (insert.GetTable().find('.') == std::string::npos && columns <= 2000)
            RequireSingleStatement(db, insert.GetTable(), statement, columns);
        KwStorageValuesMap record;
        for (const char* name : {"a", "b", "address", "at", "count"})
            record.m_values[name] = {KwStorageValuesMap::Varchar, value};
        StoredRow row;
        insert.Convert(record, row);
        Require(row.size() == columns);
        RequireTypes(row, value);
    } catch (const std::invalid_argument&) {
        // The statement or the value is none.
    }
    return 0;
}
