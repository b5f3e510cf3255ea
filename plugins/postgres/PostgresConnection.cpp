// SPDX-License-Identifier: MIT
#include "plugins/postgres/PostgresConnection.h"

#include "families/servers/ConnectToAny.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>
#include <vector>

namespace kwlookup {

namespace {

/// Replaces the default names of files in the user's home.
const char* const NO_FILE = "/dev/null/none";

/// The authorities that Debian trusts. From version 16 on, the library finds them itself.
const char* const SYSTEM_AUTHORITIES = "/etc/ssl/certs/ca-certificates.crt";
constexpr int KNOWS_SYSTEM_AUTHORITIES = 160000;

/// A limit, so that reloads with other statements do not fill the server's memory.
constexpr std::size_t MOST_STATEMENTS = 100;

/// How long a read or write of the library waits; most servers answer sooner. The system may end it
/// an eighth of this time late.
constexpr std::chrono::milliseconds LONGEST_CALL{100};

// Numbers of types and codes of errors, which never change in PostgreSQL.
constexpr Oid BYTEA = 17;
constexpr Oid TIMESTAMPTZ = 1184;
constexpr std::string_view NO_SUCH_STATEMENT = "26000";
constexpr std::string_view PLAN_IS_OLD = "0A000";
constexpr std::string_view STATEMENT_EXISTS = "42P05";
constexpr std::string_view BAD_BYTES = "22021";
constexpr std::string_view NO_SUCH_CHARACTER = "22P05";

std::string_view StateOf(const PGresult* result) {
    const char* const state = ::PQresultErrorField(result, PG_DIAG_SQLSTATE);
    return state ? state : "";
}

bool IsGood(const PGresult* result) {
    const ExecStatusType status = ::PQresultStatus(result);
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
}

/// True for errors after which another server may answer: the connection is broken (08), resources
/// are short (53), the server is starting or stopping (57P).
bool IsServerFault(std::string_view state) {
    return state.substr(0, 2) == "08" || state.substr(0, 2) == "53" || state.substr(0, 3) == "57P";
}

/// The first line of a message of the library, without the address, which the caller adds. The
/// other lines only guess the cause.
std::string Reason(std::string_view message) {
    message = message.substr(0, message.find('\n'));
    constexpr std::string_view BEFORE = "connection to server ";
    constexpr std::string_view BEHIND = " failed: ";
    const std::size_t failed = message.find(BEHIND);
    if (message.substr(0, BEFORE.size()) == BEFORE && failed != std::string_view::npos)
        message.remove_prefix(failed + BEHIND.size());
    return message.empty() ? "no reason given" : std::string(message);
}

/// A name that is the same for the same statement in all processes. A pooler may let many clients
/// share a connection to the server, and a name must mean the same statement to all.
std::string NameFor(const std::string& statement) {
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : statement)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    std::string name = "kwlookup_";
    for (int shift = 60; shift >= 0; shift -= 4)
        name += "0123456789abcdef"[hash >> shift & 15];
    return name;
}

/// The parameters of a connection. All that the library would otherwise take from the environment
/// or a file have a value.
class Parameters {
public:
    Parameters(const Server& server, const std::string& address, const ServerSettings& settings) {
        if (server.IsUnix())
            SetUnix(server);
        else
            SetTcp(server, address);
        Set("dbname", settings.database);
        Set("user", settings.user);
        // The library would look for a password elsewhere if it were empty; with this one the login
        // fails.
        Set("password", settings.password.empty() ? " " : settings.password);
        Set("passfile", NO_FILE);
        Set("client_encoding", settings.of_type);
        Set("application_name", "kwlookup");
        Set("target_session_attrs", "any");
        Set("channel_binding", "prefer");
        Set("gssencmode", "disable");
        Set("krbsrvname", "postgres");
        if (std::getenv("PGOPTIONS"))
            Set("options", " "); // poolers refuse any
        SetTls(settings.tls);
    }

    PGconn* Start() const {
        std::vector<const char*> names;
        std::vector<const char*> values;
        for (const auto& [name, value] : m_values) {
            names.push_back(name);
            values.push_back(value.c_str());
        }
        names.push_back(nullptr);
        values.push_back(nullptr);
        return ::PQconnectStartParams(names.data(), values.data(), 0);
    }

private:
    void Set(const char* name, std::string value) { m_values.emplace_back(name, std::move(value)); }

    void SetTcp(const Server& server, const std::string& address) {
        Set("host", server.host); // what the certificate must be for
        Set("hostaddr", address);
        Set("port", std::to_string(server.port));
    }

    /// The library needs the directory, and the port at the end of the socket's name.
    void SetUnix(const Server& server) {
        const std::string prefix = "/.s.PGSQL.";
        const std::size_t name = server.path.rfind(prefix);
        const bool has_port = name != std::string::npos;
        Set("host", has_port ? server.path.substr(0, name) : server.path);
        Set("port", has_port ? server.path.substr(name + prefix.size()) : "5432");
    }

    void SetTls(const TlsSettings& tls) {
        const bool on = tls.mode != TlsSettings::Mode::No;
        const auto file = [](const std::string& name) { return name.empty() ? NO_FILE : name; };
        const char* const system =
            ::PQlibVersion() >= KNOWS_SYSTEM_AUTHORITIES ? "system" : SYSTEM_AUTHORITIES;
        Set("sslmode", !on ? "disable" : tls.verify ? "verify-full" : "require");
        Set("sslrootcert", !tls.verify || !on    ? NO_FILE
                           : tls.ca_file.empty() ? system
                                                 : tls.ca_file);
        Set("sslcert", file(tls.cert_file));
        Set("sslkey", file(tls.key_file.empty() ? tls.cert_file : tls.key_file));
        // Without this, OpenSSL would ask for the passphrase of an encrypted key at the terminal.
        Set("sslpassword", " ");
        Set("sslcrl", NO_FILE);
        Set("sslcompression", "0");
        Set("sslsni", "1");
        Set("ssl_min_protocol_version", "TLSv1.2");
    }

    std::vector<std::pair<const char*, std::string>> m_values;
};

} // namespace

PostgresConnection::PostgresConnection(const Server& server, const ServerSettings& settings,
                                       Deadline deadline) {
    ConnectToAny(server, deadline, [&](const Address& address, Deadline share, bool& reached) {
        Connect(server, address.GetHost(), settings, share, reached);
    });
}

void PostgresConnection::Connect(const Server& server, const std::string& address,
                                 const ServerSettings& settings, Deadline deadline, bool& reached) {
    m_connection.reset(Parameters(server, address, settings).Start());
    if (!m_connection)
        throw std::bad_alloc();
    // Otherwise notices would go to standard error.
    ::PQsetNoticeReceiver(
        m_connection.get(), [](void*, const PGresult*) {}, nullptr);
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    if (::PQstatus(m_connection.get()) == CONNECTION_BAD)
        next = PGRES_POLLING_FAILED;
    while (next != PGRES_POLLING_OK) {
        if (next == PGRES_POLLING_FAILED)
            FailConnection();
        Wait(next == PGRES_POLLING_READING ? POLLIN : POLLOUT, deadline);
        next = ::PQconnectPoll(m_connection.get());
        const ConnStatusType status = ::PQstatus(m_connection.get());
        reached |= status != CONNECTION_BAD && status != CONNECTION_STARTED;
    }
    if (::PQsetnonblocking(m_connection.get(), 1) != 0)
        FailConnection();
    if (!::PQsslInUse(m_connection.get()))
        LetReadsWait();
}

/// The library's reads then wait by themselves, which saves a call of poll(2) for each answer.
void PostgresConnection::LetReadsWait() {
    const int socket = ::PQsocket(m_connection.get());
    timeval time{};
    time.tv_usec = std::chrono::microseconds(LONGEST_CALL).count();
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO})
        if (::setsockopt(socket, SOL_SOCKET, option, &time, sizeof(time)) != 0)
            return;
    m_reads_wait = ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) & ~O_NONBLOCK) == 0;
}

void PostgresConnection::Ask(const PostgresQuery& query, const std::string& value,
                             Deadline deadline, Answer& answer) {
    const std::string& statement = query.GetStatement();
    const auto known = m_prepared.find(statement);
    const bool was_known = known != m_prepared.end();
    const Prepared* prepared = was_known ? &known->second : &Prepare(statement, deadline);
    // No text of PostgreSQL contains a NUL, and the library would end the value there.
    if (!prepared->binary && value.find('\0') != std::string::npos)
        return;
    Result result = Execute(*prepared, value, deadline);
    std::string_view state = StateOf(result.get());
    if (was_known && (state == NO_SUCH_STATEMENT || state == PLAN_IS_OLD)) {
        Forget(statement, deadline);
        prepared = &Prepare(statement, deadline);
        result = Execute(*prepared, value, deadline);
        state = StateOf(result.get());
    }
    if ((state == BAD_BYTES || state == NO_SUCH_CHARACTER) && !CanBeHeld(value, deadline))
        return;
    if (!IsGood(result.get()))
        Fail(result.get());
    const int rows = ::PQntuples(result.get());
    // The library leaves out what it does not understand. Some servers do not say how many there
    // are.
    const char* const told = ::PQcmdTuples(result.get());
    if (*told != '\0' && std::atoi(told) != rows)
        throw ServerFault("rows are missing in the answer");
    const int columns = ::PQnfields(result.get());
    for (int row = 0; row < rows; ++row) {
        answer.AddRow();
        for (int i = 0; i < columns; ++i) // nothing for null
            answer.AddValue({::PQgetvalue(result.get(), row, i),
                             static_cast<std::size_t>(::PQgetlength(result.get(), row, i))});
    }
}

const PostgresConnection::Prepared& PostgresConnection::Prepare(const std::string& statement,
                                                                Deadline deadline) {
    const auto known = m_prepared.find(statement);
    if (known != m_prepared.end())
        return known->second;
    if (m_prepared.size() >= MOST_STATEMENTS) {
        m_prepared.clear();
        Command("deallocate all", deadline);
    }
    const std::string name = NameFor(statement);
    PGconn* const connection = m_connection.get();
    Result result =
        Finish(::PQsendPrepare(connection, name.c_str(), statement.c_str(), 0, nullptr), deadline);
    if (!IsGood(result.get()) && StateOf(result.get()) != STATEMENT_EXISTS)
        Fail(result.get());
    result = Finish(::PQsendDescribePrepared(connection, name.c_str()), deadline);
    if (!IsGood(result.get()))
        Fail(result.get());
    return m_prepared[statement] = {name, ::PQparamtype(result.get(), 0) == BYTEA};
}

void PostgresConnection::Forget(const std::string& statement, Deadline deadline) {
    const auto known = m_prepared.find(statement);
    // An error only means that the server has dropped it already.
    Command(("deallocate " + known->second.name).c_str(), deadline);
    m_prepared.erase(known);
}

PostgresConnection::Result
PostgresConnection::Execute(const Prepared& prepared, const std::string& value, Deadline deadline) {
    const char* const values[] = {value.data()};
    const int lengths[] = {static_cast<int>(value.size())};
    const int formats[] = {prepared.binary ? 1 : 0};
    return Finish(::PQsendQueryPrepared(m_connection.get(), prepared.name.c_str(), 1, values,
                                        lengths, formats, 0),
                  deadline);
}

PostgresConnection::Result PostgresConnection::Command(const char* text, Deadline deadline) {
    return Finish(
        ::PQsendQueryParams(m_connection.get(), text, 0, nullptr, nullptr, nullptr, nullptr, 0),
        deadline);
}

/// True if a text of the database can be `value`. Called after the server has rejected bytes, which
/// may be those of the value or those of a row.
bool PostgresConnection::CanBeHeld(const std::string& value, Deadline deadline) {
    const char* const encoding = ::PQparameterStatus(m_connection.get(), "server_encoding");
    if (!encoding || std::string_view(encoding) == "SQL_ASCII")
        return true; // such a database may contain any bytes
    const char* const values[] = {value.c_str()};
    const Result result =
        Finish(::PQsendQueryParams(m_connection.get(), "select where $1::text is null", 1, nullptr,
                                   values, nullptr, nullptr, 0),
               deadline);
    const std::string_view state = StateOf(result.get());
    return state != BAD_BYTES && state != NO_SUCH_CHARACTER;
}

void PostgresConnection::Store(const PostgresInsert& insert, const std::vector<StoredRow>& rows,
                               const StoreTime& time, StoreProgress& progress) {
    const auto command = [&](const char* text) {
        Result result = Command(text, time.ForStatement());
        if (!IsGood(result.get()))
            Fail(result.get());
        return result;
    };
    command("begin");
    try {
        const std::vector<Oid> types = PrepareInsert(insert.GetStatement(), time.ForStatement());
        for (const StoredRow& row : rows) {
            Insert(insert, row, types, time.ForStatement());
            ++progress.row;
        }
        progress.committing = true;
        const Result committed = command("commit");
        if (std::string_view(::PQcmdStatus(committed.get())) != "COMMIT")
            throw QuestionFault("the server took the transaction back");
    } catch (const QuestionFault& fault) {
        try {
            Command("rollback", time.ForStatement());
        } catch (const ServerFault&) { // to the server, too, the transaction is over
            throw std::runtime_error(fault.what());
        }
        throw;
    }
}

/// Prepares a statement without a name, which lasts until the next one. Gives the types of its
/// parameters.
std::vector<Oid> PostgresConnection::PrepareInsert(const std::string& statement,
                                                   Deadline deadline) {
    PGconn* const connection = m_connection.get();
    Result result =
        Finish(::PQsendPrepare(connection, "", statement.c_str(), 0, nullptr), deadline);
    if (!IsGood(result.get()))
        Fail(result.get());
    result = Finish(::PQsendDescribePrepared(connection, ""), deadline);
    if (!IsGood(result.get()))
        Fail(result.get());
    std::vector<Oid> types;
    for (int i = 0; i < ::PQnparams(result.get()); ++i)
        types.push_back(::PQparamtype(result.get(), i));
    return types;
}

void PostgresConnection::Insert(const PostgresInsert& insert, const StoredRow& row,
                                const std::vector<Oid>& types, Deadline deadline) {
    if (types.size() != row.size())
        throw ServerFault("the server answers with another statement");
    std::vector<const char*> values;
    std::vector<int> lengths;
    std::vector<int> formats;
    std::vector<std::string> in_zone; // times that say so
    in_zone.reserve(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
        const bool binary = types[i] == BYTEA;
        const std::string* text = &row[i].text;
        // The library would end the value there.
        if (!binary && text->find('\0') != std::string::npos)
            throw QuestionFault("'" + insert.GetName(i) +
                                "' has a NUL byte, which only a column of type bytea can hold");
        if (types[i] == TIMESTAMPTZ && row[i].type == KwStorageValuesMap::Timestamp)
            text = &in_zone.emplace_back(*text + "+00");
        values.push_back(text->data());
        lengths.push_back(static_cast<int>(text->size()));
        formats.push_back(binary ? 1 : 0);
    }
    const Result result =
        Finish(::PQsendQueryPrepared(m_connection.get(), "", static_cast<int>(row.size()),
                                     values.data(), lengths.data(), formats.data(), 0),
               deadline);
    if (!IsGood(result.get()))
        Fail(result.get());
}

/// Send the started command, unless `sent` is 0, and return the answer.
PostgresConnection::Result PostgresConnection::Finish(int sent, Deadline deadline) {
    PGconn* const connection = m_connection.get();
    if (sent == 0)
        FailConnection();
    for (int left; (left = ::PQflush(connection)) != 0;) {
        if (left < 0)
            FailConnection();
        Wait(POLLIN | POLLOUT, deadline);
        // The server may have to write before it can read more.
        if (WaitFor(::PQsocket(connection), POLLIN, Deadline(std::chrono::milliseconds(0))) &&
            ::PQconsumeInput(connection) == 0)
            FailConnection();
    }
    Result answer = Next(deadline);
    while (const Result more = Next(deadline)) {
        // Only the end is left.
    }
    if (::PQstatus(connection) == CONNECTION_BAD)
        FailConnection();
    return answer;
}

PostgresConnection::Result PostgresConnection::Next(Deadline deadline) {
    PGconn* const connection = m_connection.get();
    while (::PQisBusy(connection)) {
        // poll(2) ends at the deadline, a read maybe later.
        if (!m_reads_wait || deadline.GetMsLeft() < 2 * LONGEST_CALL.count())
            Wait(POLLIN, deadline);
        if (::PQconsumeInput(connection) == 0)
            FailConnection();
    }
    Result result(::PQgetResult(connection));
    const ExecStatusType status = ::PQresultStatus(result.get());
    if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH)
        throw ServerFault("an answer that nobody asked for");
    return result;
}

void PostgresConnection::Wait(short events, Deadline deadline) const {
    if (!WaitFor(::PQsocket(m_connection.get()), events, deadline))
        throw ServerFault("no answer in time");
}

void PostgresConnection::FailConnection() const {
    throw ServerFault(Reason(::PQerrorMessage(m_connection.get())));
}

void PostgresConnection::Fail(const PGresult* result) {
    const char* const message = ::PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    const std::string reason = Reason(message ? message : ::PQresultErrorMessage(result));
    const std::string_view state = StateOf(result);
    // Errors of the library itself, such as a lack of memory, have no code.
    if (state.empty() || IsServerFault(state))
        throw ServerFault(reason);
    throw QuestionFault(reason);
}

} // namespace kwlookup
