// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcDiagnosis.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "plugins/odbc/OdbcHandle.h"

#include <array>
#include <new>
#include <sqlext.h>
#include <string_view>

namespace kwlookup {

namespace {

constexpr std::string_view OF_CONFIGURATION[] = {"28", "42", "3D", "3F", "IM"};
/// Connections, time limits, transactions; in PostgreSQL also lack of resources and a shutdown.
constexpr std::string_view OF_SERVER[] = {"08", "HYT", "40", "53", "57P"};
/// MariaDB's driver, when the connection is lost.
constexpr std::string_view CRASHES_IN_EXEC_DIRECT = "libmaodbc.so";
constexpr std::string_view NO_MEMORY = "HY001";
/// A warning, such as that the driver's library cannot be opened. The next record has the error.
constexpr std::string_view WARNING = "01";

/// How messages of MariaDB's driver begin, and the codes of its client library. The state HY000
/// does not tell them from errors of a statement.
constexpr std::string_view OF_MARIADB = "[ma-";
constexpr SQLINTEGER FIRST_OF_CLIENT = 2000;
constexpr SQLINTEGER LAST_OF_CLIENT = 2999;

template <std::size_t SIZE>
bool IsOneOf(const std::string_view (&classes)[SIZE], std::string_view state) {
    for (const std::string_view of_class : classes)
        if (state.substr(0, of_class.size()) == of_class)
            return true;
    return false;
}

/// The first line of "[A][B]reason", without the names of the driver manager and the driver.
std::string Reason(std::string_view message) {
    while (!message.empty() && message.front() == '[') {
        const std::size_t end = message.find(']');
        if (end == std::string_view::npos)
            break;
        message.remove_prefix(end + 1);
    }
    message = message.substr(0, message.find_first_of("\r\n"));
    while (!message.empty() && (message.back() == ' ' || message.back() == ';'))
        message.remove_suffix(1);
    return std::string(message);
}

} // namespace

OdbcDiagnosis::OdbcDiagnosis(const Record& record)
    : std::runtime_error(record.reason + (record.state.empty() ? "" : " (" + record.state + ')')),
      m_state(record.state), m_is_of_client(record.is_of_client) {}

OdbcDiagnosis::Record OdbcDiagnosis::Read(SQLSMALLINT type, SQLHANDLE handle) {
    std::array<SQLCHAR, 6> state{}; // five characters and a NUL
    std::array<SQLCHAR, 1024> text{};
    Record record;
    for (SQLSMALLINT number = 1; record.state.empty(); ++number) {
        SQLINTEGER code = 0;
        SQLSMALLINT length = 0;
        if (!SQL_SUCCEEDED(::SQLGetDiagRec(type, handle, number, state.data(), &code, text.data(),
                                           static_cast<SQLSMALLINT>(text.size()), &length)))
            break;
        text.back() = 0;
        const std::string_view message(reinterpret_cast<const char*>(text.data()));
        record.is_of_client |= message.substr(0, OF_MARIADB.size()) == OF_MARIADB &&
                               code >= FIRST_OF_CLIENT && code <= LAST_OF_CLIENT;
        const std::string reason = Reason(message);
        record.reason += record.reason.empty() ? reason : ": " + reason;
        const std::string_view read(reinterpret_cast<const char*>(state.data()));
        if (read.substr(0, WARNING.size()) != WARNING)
            record.state = read;
    }
    if (record.reason.empty())
        record.reason = "no reason given";
    return record;
}

bool OdbcDiagnosis::IsOfServer() const {
    return IsOneOf(OF_SERVER, m_state) || m_is_of_client;
}

void OdbcDiagnosis::Fail(bool is_dead) const {
    // MariaDB's driver reports a lack of memory when the connection is lost during a commit.
    if (m_state == NO_MEMORY && !is_dead)
        throw std::bad_alloc();
    if (IsOneOf(OF_CONFIGURATION, m_state))
        throw QuestionFault(std::string("error of configuration: ") + what());
    if (is_dead || IsOfServer())
        throw ServerFault(what());
    throw QuestionFault(what());
}

void CheckOdbc(SQLHANDLE statement, SQLRETURN done) {
    if (!SQL_SUCCEEDED(done))
        throw OdbcDiagnosis(SQL_HANDLE_STMT, statement);
}

void ExecuteOdbc(SQLHANDLE connection, SQLHANDLE statement, const std::string& text) {
    const auto size = static_cast<SQLINTEGER>(text.size());
    SQLCHAR driver[64] = "";
    ::SQLGetInfo(connection, SQL_DRIVER_NAME, driver, sizeof(driver), nullptr);
    SQLRETURN done;
    if (reinterpret_cast<const char*>(driver) == CRASHES_IN_EXEC_DIRECT) {
        CheckOdbc(statement, ::SQLPrepare(statement, OdbcText(text), size));
        done = ::SQLExecute(statement);
    } else {
        done = ::SQLExecDirect(statement, OdbcText(text), size);
    }
    CheckOdbc(statement, done);
}

} // namespace kwlookup
