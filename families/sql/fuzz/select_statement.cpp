// SPDX-License-Identifier: MIT
// Parses a text as a statement. An accepted statement must be a single one for SQLite too, with one
// parameter.
#include "families/sql/SelectStatement.h"
#include "fuzz/Require.h"

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
    Require(::sqlite3_exec(db, "create table t (a, b, c)", nullptr, nullptr, nullptr) == SQLITE_OK);
    return db;
}

bool IsMissingName(const std::string& error) {
    for (const char* start : {"no such table: ", "no such column: ", "unknown database "})
        if (error.rfind(start, 0) == 0)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static sqlite3* const db = OpenDatabase();
    std::string statement;
    try {
        const SelectStatement select(std::string(data, data + size));
        // The first character may be a quote.
        Require(select.GetTemplate().find('\'', 1) == std::string::npos);
        statement = select.Text('"', "?1");
    } catch (const std::invalid_argument&) {
        return 0;
    }
    sqlite3_stmt* prepared = nullptr;
    const char* tail = nullptr;
    const int error = ::sqlite3_prepare_v2(db, statement.c_str(), -1, &prepared, &tail);
    if (error == SQLITE_OK) {
        Require(prepared && *tail == '\0');
        Require(::sqlite3_bind_parameter_count(prepared) == 1);
        Require(::sqlite3_stmt_readonly(prepared) != 0);
    } else {
        const std::string reason = ::sqlite3_errmsg(db);
        // SQLite has limits for the number of columns and unknown databases.
        Require(IsMissingName(reason) || reason == "too many columns in result set" ||
                reason.rfind("near \".\": syntax error", 0) == 0);
    }
    ::sqlite3_finalize(prepared);
    return 0;
}
