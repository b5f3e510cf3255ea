// SPDX-License-Identifier: MIT
#include "plugins/odbc/OdbcSession.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "plugins/odbc/ConnectionText.h"
#include "plugins/odbc/OdbcDiagnosis.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <iterator>
#include <sqlext.h>
#include <string_view>
#include <utility>

namespace kwlookup {

namespace {

/// Reloads with new statements must not fill the server's memory.
constexpr std::size_t MOST_STATEMENTS = 100;

/// What makes times in statements UTC, and an error of a value that a column cannot hold, where the
/// database needs to be told. PostgreSQL forgets it at the end of the transaction.
struct Preparation {
    const char* database;
    const char* statement;
};
constexpr const char* FOR_MYSQL =
    "set time_zone = '+00:00', sql_mode = concat(@@sql_mode, ',STRICT_ALL_TABLES')";
constexpr Preparation PREPARATIONS[] = {
    {"PostgreSQL", "set local time zone 'UTC'"}, {"MariaDB", FOR_MYSQL}, {"MySQL", FOR_MYSQL}};

/// PostgreSQL's driver. Its calls end when its socket is shut down.
constexpr std::string_view ENDED_BY_SOCKET = "psqlodbcw.so";

/// Returns a descriptor of the only one of `sockets` for which `is_wanted(socket)`. Empty if there
/// is not exactly one.
template <typename IsWanted>
FileDescriptor CopyOnly(const std::vector<ConnectedSocket>& sockets, IsWanted&& is_wanted) {
    const auto found = std::find_if(sockets.begin(), sockets.end(), is_wanted);
    if (found == sockets.end() || std::any_of(std::next(found), sockets.end(), is_wanted))
        return FileDescriptor();
    return FileDescriptor(::fcntl(found->fd, F_DUPFD_CLOEXEC, 0));
}

SQLPOINTER Number(std::uintptr_t number) {
    return reinterpret_cast<SQLPOINTER>(number);
}

std::uintptr_t SecondsOf(std::chrono::milliseconds time) {
    return static_cast<std::uintptr_t>(std::chrono::ceil<std::chrono::seconds>(time).count());
}

} // namespace

OdbcSession::OdbcSession(const Server& server, const ServerSettings& settings)
    : m_limits{settings.max_rows, SecondsOf(settings.timeout)}, m_port(server.port) {
    ::SQLSetEnvAttr(m_environment.Get(), SQL_ATTR_ODBC_VERSION, Number(SQL_OV_ODBC3), 0);
    m_connection = std::make_unique<OdbcHandle<SQL_HANDLE_DBC>>(m_environment.Get());
    Connect(server, settings);
    const std::string quote = Info(SQL_IDENTIFIER_QUOTE_CHAR);
    if (!quote.empty())
        m_quote = quote.front();
    // In double quotes, SQLite treats the name of a missing column as a text.
    if (Info(SQL_DBMS_NAME) == "SQLite")
        m_quote = '`';
    SQLUSMALLINT names = SQL_IC_SENSITIVE;
    ::SQLGetInfo(m_connection->Get(), SQL_IDENTIFIER_CASE, &names, sizeof(names), nullptr);
    m_folds_names = names == SQL_IC_UPPER;
}

OdbcSession::~OdbcSession() {
    m_statements.clear();
    if (m_inserter) {
        m_inserter.reset();
        ::SQLEndTran(SQL_HANDLE_DBC, m_connection->Get(), SQL_ROLLBACK);
    }
    ::SQLDisconnect(m_connection->Get());
}

void OdbcSession::Connect(const Server& server, const ServerSettings& settings) {
    const SQLHANDLE connection = m_connection->Get();
    // A driver without such a limit returns an error, which does no harm.
    ::SQLSetConnectAttr(connection, SQL_ATTR_LOGIN_TIMEOUT,
                        Number(SecondsOf(settings.connect_timeout)), 0);
    const std::string& user = settings.user;
    const std::string& password = settings.password;
    SQLRETURN done;
    if (settings.of_type.empty())
        done = ::SQLConnect(connection, OdbcText(server.host), SQL_NTS,
                            user.empty() ? nullptr : OdbcText(user), SQL_NTS,
                            password.empty() ? nullptr : OdbcText(password), SQL_NTS);
    else
        done =
            ::SQLDriverConnect(connection, nullptr, OdbcText(ConnectionTextFor(server, settings)),
                               SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(done))
        OdbcDiagnosis(SQL_HANDLE_DBC, connection).Fail(true);
}

std::string OdbcSession::Info(SQLUSMALLINT what) const {
    SQLCHAR text[64] = "";
    const SQLRETURN done = ::SQLGetInfo(m_connection->Get(), what, text, sizeof(text), nullptr);
    return SQL_SUCCEEDED(done) ? reinterpret_cast<const char*>(text) : std::string();
}

void OdbcSession::Ask(const Select& select, const std::string& value, Answer& answer) {
    // The server may have dropped the statement, or the table may have been replaced.
    for (bool again = m_statements.count(select.get()) != 0;; again = false) {
        try {
            return Prepare(select).Ask(value, answer);
        } catch (const OdbcDiagnosis& diagnosis) {
            const bool is_dead = IsDead();
            if (!again || is_dead || diagnosis.IsOfServer())
                diagnosis.Fail(is_dead);
        }
        m_statements.erase(select.get());
        answer.Clear();
    }
}

FileDescriptor OdbcSession::CopySocket() {
    if (Info(SQL_DRIVER_NAME) != ENDED_BY_SOCKET)
        return FileDescriptor();
    const auto added = NewSockets(m_before, ListConnectedSockets());
    FileDescriptor copy = CopyOnly(
        added, [this](const ConnectedSocket& socket) { return socket.peer_port == m_port; });
    if (!copy) // the port is not known, or other threads have connected to it meanwhile
        copy = CopyOnly(added, [port = AskPort()](const ConnectedSocket& socket) {
            return socket.local_port == port;
        });
    return copy;
}

/// Returns the port of this process that the server sees, which is another one behind a pooler or
/// a router, or -1.
int OdbcSession::AskPort() {
    const OdbcHandle<SQL_HANDLE_STMT> statement(m_connection->Get());
    SQLINTEGER port = -1;
    SQLLEN length = 0;
    const bool done =
        SQL_SUCCEEDED(
            ::SQLExecDirect(statement.Get(), OdbcText("select inet_client_port()"), SQL_NTS)) &&
        SQL_SUCCEEDED(::SQLFetch(statement.Get())) &&
        SQL_SUCCEEDED(::SQLGetData(statement.Get(), 1, SQL_C_SLONG, &port, sizeof(port), &length));
    return done && length != SQL_NULL_DATA ? port : -1;
}

OdbcStatement& OdbcSession::Prepare(const Select& select) {
    const auto known = m_statements.find(select.get());
    if (known != m_statements.end())
        return *known->second.statement;
    if (m_statements.size() >= MOST_STATEMENTS)
        m_statements.clear();
    SelectStatement written = *select;
    if (m_folds_names)
        written.FoldNames();
    auto statement =
        std::make_unique<OdbcStatement>(m_connection->Get(), written, m_quote, m_limits);
    return *(m_statements[select.get()] = {select, std::move(statement)}).statement;
}

bool OdbcSession::Begin(const InsertStatement& insert) {
    InsertStatement written = insert;
    bool has_transactions = true;
    if (m_folds_names)
        written.FoldTable();
    Checked([&] {
        auto inserter =
            std::make_unique<OdbcInserter>(m_connection->Get(), written, m_quote, m_limits.seconds);
        SetAutocommit(false);
        m_inserter = std::move(inserter);
        const std::string database = Info(SQL_DBMS_NAME);
        for (const Preparation& preparation : PREPARATIONS)
            if (database == preparation.database)
                Execute(preparation.statement);
        has_transactions = HasTransactions(database, written.GetTable());
        m_inserter->Prepare();
    });
    return has_transactions;
}

/// In MariaDB and MySQL it depends on the table.
bool OdbcSession::HasTransactions(const std::string& database, const std::string& table) const {
    if (database != "MariaDB" && database != "MySQL") {
        SQLUSMALLINT capable = SQL_TC_ALL;
        ::SQLGetInfo(m_connection->Get(), SQL_TXN_CAPABLE, &capable, sizeof(capable), nullptr);
        return capable != SQL_TC_NONE;
    }
    const std::size_t dot = table.find('.');
    const std::string schema =
        dot == std::string::npos ? "database()" : '\'' + table.substr(0, dot) + '\'';
    const std::string name = dot == std::string::npos ? table : table.substr(dot + 1);
    const std::string question = "select count(*) from information_schema.tables"
                                 " join information_schema.engines using (engine)"
                                 " where transactions = 'YES' and table_schema = " +
                                 schema + " and table_name = '" + name + '\'';
    const OdbcHandle<SQL_HANDLE_STMT> statement(m_connection->Get());
    ExecuteOdbc(m_connection->Get(), statement.Get(), question);
    CheckOdbc(statement.Get(), ::SQLFetch(statement.Get()));
    SQLINTEGER tables = 0;
    CheckOdbc(statement.Get(),
              ::SQLGetData(statement.Get(), 1, SQL_C_SLONG, &tables, sizeof(tables), nullptr));
    return tables != 0;
}

void OdbcSession::Insert(const StoredRow& row) {
    Checked([&] { m_inserter->Insert(row); });
}

void OdbcSession::Commit() {
    Checked([&] { End(SQL_COMMIT); });
}

void OdbcSession::Rollback() {
    if (m_inserter)
        Checked([&] { End(SQL_ROLLBACK); });
}

void OdbcSession::End(SQLSMALLINT how) {
    if (!SQL_SUCCEEDED(::SQLEndTran(SQL_HANDLE_DBC, m_connection->Get(), how)))
        throw OdbcDiagnosis(SQL_HANDLE_DBC, m_connection->Get());
    m_inserter.reset();
    SetAutocommit(true);
}

void OdbcSession::SetAutocommit(bool on) {
    if (!SQL_SUCCEEDED(::SQLSetConnectAttr(m_connection->Get(), SQL_ATTR_AUTOCOMMIT,
                                           Number(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF), 0)))
        throw OdbcDiagnosis(SQL_HANDLE_DBC, m_connection->Get());
}

void OdbcSession::Execute(const std::string& text) {
    const OdbcHandle<SQL_HANDLE_STMT> statement(m_connection->Get());
    ExecuteOdbc(m_connection->Get(), statement.Get(), text);
}

/// Makes faults of what the driver tells.
template <typename Call>
void OdbcSession::Checked(Call&& call) {
    try {
        call();
    } catch (const OdbcDiagnosis& diagnosis) {
        diagnosis.Fail(IsDead());
    }
}

bool OdbcSession::IsDead() const {
    SQLUINTEGER dead = SQL_CD_FALSE;
    return SQL_SUCCEEDED(::SQLGetConnectAttr(m_connection->Get(), SQL_ATTR_CONNECTION_DEAD, &dead,
                                             SQL_IS_UINTEGER, nullptr)) &&
           dead == SQL_CD_TRUE;
}

} // namespace kwlookup
