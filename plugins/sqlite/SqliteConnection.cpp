// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteConnection.h"

#include <new>
#include <stdexcept>

namespace kwlookup {

namespace {

/// Instructions of SQLite between two looks at the clock: a look costs less than one of them.
constexpr int INSTRUCTIONS = 100;

} // namespace

SqliteConnection::SqliteConnection(const std::string& name, const std::string& statement,
                                   int timeout, int search_time)
    : m_name(name), m_stamp(name), m_search_time(search_time) {
    sqlite3* db = nullptr;
    constexpr int FLAGS = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX;
    const int opened = ::sqlite3_open_v2(name.c_str(), &db, FLAGS, nullptr);
    m_db.reset(db); // there is one to close even where that failed
    if (!db)
        throw std::bad_alloc();
    if (opened != SQLITE_OK)
        Fail();
    ::sqlite3_busy_timeout(db, timeout * 1000);
    ::sqlite3_progress_handler(db, INSTRUCTIONS, IsTimeOver, this);
    // A name that no column has would else be taken for a text.
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    ::sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    m_statement = Prepare(statement);
    CheckFile();
}

bool SqliteConnection::Find(std::string_view value, int max_rows, Values& values) {
    m_time.reset();
    // Ends the read transaction on every way out, so that writers can go on.
    const auto reset = [](sqlite3_stmt* statement) {
        ::sqlite3_reset(statement);
        ::sqlite3_clear_bindings(statement);
    };
    const std::unique_ptr<sqlite3_stmt, decltype(reset)> running(m_statement.get(), reset);
    if (::sqlite3_bind_text64(m_statement.get(), 1, value.data(), value.size(), SQLITE_STATIC,
                              SQLITE_UTF8) != SQLITE_OK)
        Fail();
    int rows = 0;
    int step;
    while ((step = ::sqlite3_step(m_statement.get())) == SQLITE_ROW) {
        if (++rows > max_rows)
            throw std::runtime_error(m_name + ": more rows than MaxRows, " +
                                     std::to_string(max_rows));
        if (values.IsWanted())
            AddRow(values);
    }
    if (step == SQLITE_INTERRUPT)
        throw std::runtime_error(m_name + ": " + m_time->GetReason());
    if (step != SQLITE_DONE)
        Fail();
    return rows > 0;
}

int SqliteConnection::IsTimeOver(void* connection) {
    auto& time = static_cast<SqliteConnection*>(connection)->m_time;
    // The first instructions wait for the lock, which has a time of its own.
    if (!time)
        time.emplace(static_cast<SqliteConnection*>(connection)->m_search_time);
    return time->IsOver();
}

SqliteConnection::Statement SqliteConnection::Prepare(const std::string& text) {
    sqlite3_stmt* prepared = nullptr;
    if (::sqlite3_prepare_v3(m_db.get(), text.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                             nullptr) != SQLITE_OK)
        Fail();
    return Statement(prepared);
}

SqliteConnection::Statement SqliteConnection::Pragma(const std::string& name) {
    Statement pragma = Prepare("pragma " + name);
    if (::sqlite3_step(pragma.get()) != SQLITE_ROW)
        Fail();
    return pragma;
}

void SqliteConnection::CheckFile() {
    // SQLite notices when whole pages are missing; what is cut off the last one it takes for zeros.
    const Statement page_size = Pragma("page_size");
    if (m_stamp.GetSize() % static_cast<unsigned>(::sqlite3_column_int(page_size.get(), 0)) != 0)
        throw std::runtime_error(m_name + ": not a whole database");
    // In another encoding bytes that are not UTF-8 would become characters, and match those.
    const Statement encoding = Pragma("encoding");
    const unsigned char* const text = ::sqlite3_column_text(encoding.get(), 0);
    if (::sqlite3_stricmp(reinterpret_cast<const char*>(text), "UTF-8") != 0)
        throw std::runtime_error(m_name + ": not in UTF-8");
}

void SqliteConnection::AddRow(Values& values) const {
    sqlite3_stmt* const statement = m_statement.get();
    const int columns = ::sqlite3_column_count(statement);
    for (int i = 0; i < columns; ++i) {
        const unsigned char* const text = ::sqlite3_column_text(statement, i);
        const int size = ::sqlite3_column_bytes(statement, i);
        if (text)
            values.Add({reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
        else if (::sqlite3_errcode(m_db.get()) == SQLITE_NOMEM)
            throw std::bad_alloc();
    }
}

void SqliteConnection::Fail() const {
    throw std::runtime_error(m_name + ": " + ::sqlite3_errmsg(m_db.get()));
}

} // namespace kwlookup
