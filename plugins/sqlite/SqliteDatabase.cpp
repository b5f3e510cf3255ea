// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteDatabase.h"

#include <new>
#include <stdexcept>

namespace kwlookup {

namespace {

/// SQLite's instructions between two reads of the clock, which costs less than one of them.
constexpr int INSTRUCTIONS = 100;

} // namespace

SqliteDatabase::SqliteDatabase(const Settings& settings, Access access)
    : m_name(settings.name), m_stamp(settings.name), m_search_time(settings.search_time) {
    sqlite3* db = nullptr;
    const int mode = access == Access::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int opened = ::sqlite3_open_v2(m_name.c_str(), &db, mode | SQLITE_OPEN_NOMUTEX, nullptr);
    m_db.reset(db); // must be closed even after a failure
    if (!db)
        throw std::bad_alloc();
    if (opened != SQLITE_OK)
        Fail();
    ::sqlite3_busy_timeout(db, settings.timeout * 1000);
    ::sqlite3_progress_handler(db, INSTRUCTIONS, IsTimeOver, this);
    // Otherwise an unknown column name would be read as a string.
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

int SqliteDatabase::IsTimeOver(void* database) {
    auto& time = static_cast<SqliteDatabase*>(database)->m_time;
    // The clock starts after the first instructions, which wait for the lock. That wait has its own
    // limit.
    if (!time)
        time.emplace(static_cast<SqliteDatabase*>(database)->m_search_time);
    return time->IsOver();
}

SqliteDatabase::Statement SqliteDatabase::Prepare(const std::string& text) {
    sqlite3_stmt* prepared = nullptr;
    if (::sqlite3_prepare_v3(m_db.get(), text.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                             nullptr) != SQLITE_OK)
        Fail();
    return Statement(prepared);
}

int SqliteDatabase::Step(sqlite3_stmt* statement) {
    const int step = ::sqlite3_step(statement);
    if (step == SQLITE_INTERRUPT && m_time)
        throw std::runtime_error(m_name + ": " + m_time->GetReason());
    if (step != SQLITE_ROW && step != SQLITE_DONE)
        Fail();
    return step;
}

SqliteDatabase::Statement SqliteDatabase::Pragma(const std::string& name) {
    Statement pragma = Prepare("pragma " + name);
    if (::sqlite3_step(pragma.get()) != SQLITE_ROW)
        Fail();
    return pragma;
}

void SqliteDatabase::CheckFile() {
    // SQLite notices missing pages, but reads an incomplete last page as if it ended in zeros.
    const Statement page_size = Pragma("page_size");
    if (m_stamp.GetSize() % static_cast<unsigned>(::sqlite3_column_int(page_size.get(), 0)) != 0)
        throw std::runtime_error(m_name + ": not a valid database");
    // In another encoding, bytes that are not UTF-8 would be converted and match other characters.
    const Statement encoding = Pragma("encoding");
    const unsigned char* const text = ::sqlite3_column_text(encoding.get(), 0);
    if (::sqlite3_stricmp(reinterpret_cast<const char*>(text), "UTF-8") != 0)
        throw std::runtime_error(m_name + ": not in UTF-8");
}

void SqliteDatabase::Fail() const {
    throw std::runtime_error(m_name + ": " + ::sqlite3_errmsg(m_db.get()));
}

} // namespace kwlookup
