// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlConnection.h"

#include "families/servers/ConnectToAny.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerStream.h"
#include "plugins/mysql/MysqlConnector.h"
#include "plugins/mysql/MysqlFault.h"
#include "plugins/mysql/MysqlInserter.h"
#include "plugins/mysql/MysqlWait.h"
#include "text/SystemError.h"

#include <charconv>
#include <errmsg.h>
#include <fcntl.h>
#include <new>
#include <optional>
#include <stdexcept>

namespace kwlookup {

namespace {

/// A limit, so that reloads with other statements do not fill the server's memory.
constexpr std::size_t MOST_STATEMENTS = 100;

/// The largest message of the server, such as a row.
constexpr std::size_t LONGEST_PACKET = 16 << 20;

/// Every server accepts values of this length.
constexpr std::size_t SHORT_VALUE = 4096;

/// Longer than all of a message but the value.
constexpr std::size_t MESSAGE_HEAD = 1024;

/// Methods of authentication that neither ask at the terminal nor send the password in plain text.
const char* const METHODS =
    "mysql_native_password,client_ed25519,caching_sha2_password,sha256_password,kwlookup_tls";

template <typename Value>
void SetOption(MYSQL* mysql, mysql_option option, const Value& value) {
    if (::mysql_optionsv(mysql, option, &value) != 0)
        throw ServerFault(::mysql_error(mysql));
}

void SetText(MYSQL* mysql, mysql_option option, const std::string& text) {
    if (::mysql_optionsv(mysql, option, text.c_str()) != 0)
        throw ServerFault(::mysql_error(mysql));
}

void SetTls(MYSQL* mysql, const TlsSettings& tls) {
    SetOption(mysql, MYSQL_OPT_SSL_ENFORCE, my_bool(1));
    SetOption(mysql, MYSQL_OPT_SSL_VERIFY_SERVER_CERT, static_cast<my_bool>(tls.verify));
    SetText(mysql, MARIADB_OPT_TLS_VERSION, "TLSv1.2,TLSv1.3");
    SetText(mysql, MYSQL_DEFAULT_AUTH, TLS_LOGIN);
    // Without this, OpenSSL would ask for the passphrase of an encrypted key at the terminal.
    SetText(mysql, MARIADB_OPT_TLS_PASSPHRASE, " ");
    if (tls.verify && !tls.ca_file.empty())
        SetText(mysql, MYSQL_OPT_SSL_CA, tls.ca_file);
    if (!tls.cert_file.empty()) {
        SetText(mysql, MYSQL_OPT_SSL_CERT, tls.cert_file);
        SetText(mysql, MYSQL_OPT_SSL_KEY, tls.key_file.empty() ? tls.cert_file : tls.key_file);
    }
}

/// Why connect(2) failed. The connector's message ends in the error number.
std::string ConnectReason(const std::string& message) {
    const std::size_t open = message.rfind('(');
    int error = 0;
    if (open != std::string::npos)
        std::from_chars(message.data() + open + 1, message.data() + message.size(), error);
    return error != 0 ? SystemErrorText(error) : message;
}

} // namespace

MysqlConnection::MysqlConnection(const Server& server, const ServerSettings& settings,
                                 Deadline deadline)
    // A unix socket needs no encryption.
    : m_tls(settings.tls.mode != TlsSettings::Mode::No && !server.IsUnix()) {
    StartConnector();
    ConnectToAny(server, deadline, [&](const Address& address, Deadline share, bool& reached) {
        Connect(server, address.GetHost(), settings, share, reached);
    });
}

MysqlConnection::~MysqlConnection() {
    // Send the farewell only if that does not block.
    const MysqlWait wait(Deadline(std::chrono::milliseconds(0)), m_tls);
    m_mysql.reset();
}

void MysqlConnection::Connect(const Server& server, const std::string& address,
                              const ServerSettings& settings, Deadline deadline, bool& reached) {
    MysqlWait wait(deadline, m_tls);
    wait.Connect(server.host);
    m_mysql.reset(::mysql_init(nullptr));
    MYSQL* const mysql = m_mysql.get();
    if (!mysql)
        throw std::bad_alloc();
    if (::mysql_optionsv(mysql, MARIADB_OPT_IO_WAIT,
                         reinterpret_cast<const void*>(&MysqlWait::ForSocket)) != 0)
        throw ServerFault(::mysql_error(mysql));
    SetOption(mysql, MYSQL_OPT_WRITE_TIMEOUT, MysqlWait::WRITE_MARK);
    SetOption(mysql, MYSQL_OPT_PROTOCOL,
              unsigned(server.IsUnix() ? MYSQL_PROTOCOL_SOCKET : MYSQL_PROTOCOL_TCP));
    SetOption(mysql, MYSQL_OPT_LOCAL_INFILE, 0u);
    SetOption(mysql, MYSQL_OPT_MAX_ALLOWED_PACKET, LONGEST_PACKET);
    SetText(mysql, MYSQL_SET_CHARSET_NAME, settings.of_type);
    SetText(mysql, MARIADB_OPT_RESTRICTED_AUTH, METHODS);
    if (m_tls)
        SetTls(mysql, settings.tls);
    const bool unix_socket = server.IsUnix();
    if (::mysql_real_connect(mysql, unix_socket ? nullptr : address.c_str(), settings.user.c_str(),
                             settings.password.c_str(),
                             settings.database.empty() ? nullptr : settings.database.c_str(),
                             server.port, unix_socket ? address.c_str() : nullptr, 0)) {
        if (m_tls && !(wait.HasTlsBegun() && ::mysql_get_ssl_cipher(mysql)))
            throw ServerFault("TLS: the server does not offer it");
        const int socket = static_cast<int>(::mysql_get_socket(mysql));
        ::fcntl(socket, F_SETFD, FD_CLOEXEC);
        MysqlWait::LimitReads(socket);
        return;
    }
    const unsigned code = ::mysql_errno(mysql);
    reached = code != CR_CONNECTION_ERROR && code != CR_CONN_HOST_ERROR && code != CR_IPSOCK_ERROR;
    if (!wait.GetReason().empty())
        throw ServerFault(wait.GetReason());
    if (!reached)
        throw ServerFault(ConnectReason(::mysql_error(mysql)));
    if (code == CR_SSL_CONNECTION_ERROR)
        CheckTlsFiles(settings.tls); // the connector does not report which one is invalid
    throw ServerFault(::mysql_error(mysql));
}

void MysqlConnection::Ask(const MysqlQuery& query, const std::string& value, Deadline deadline,
                          Answer& answer) {
    const MysqlWait wait(deadline, m_tls);
    if (m_stores) {
        Execute("set time_zone = default");
        m_stores = false;
    }
    CheckLength(value.size());
    const std::string& text = query.GetStatement();
    MysqlStatement::Outcome outcome = Prepare(text).Ask(value, answer);
    if (outcome == MysqlStatement::Outcome::Forgotten) {
        m_statements.erase(text);
        outcome = Prepare(text).Ask(value, answer);
    }
    if (outcome == MysqlStatement::Outcome::Forgotten)
        throw QuestionFault("the server forgets statements at once");
    if (outcome == MysqlStatement::Outcome::OtherCharset && !IsForeignText(value))
        throw QuestionFault("the value is no text of Charset, and the condition's column has "
                            "another character set");
    if (::mysql_warning_count(m_mysql.get()) != 0)
        throw QuestionFault(AskServer("show warnings", 2));
}

void MysqlConnection::Store(const MysqlInsert& insert, const std::vector<StoredRow>& rows,
                            const StoreTime& time, StoreProgress& progress) {
    std::optional<MysqlWait> wait;
    const auto next_step = [&] {
        wait.reset(); // there is one at a time
        wait.emplace(time.ForStatement(), m_tls);
    };
    next_step();
    BeginStoring();
    const bool has_transactions = HasTransactions(insert.GetTable());
    std::optional<MysqlInserter> inserter; // closed while there is a MysqlWait
    try {
        inserter.emplace(m_mysql.get(), insert.GetStatement());
        for (const StoredRow& row : rows) {
            next_step();
            std::size_t length = 0;
            for (const StoredValue& value : row)
                length += value.text.size();
            CheckLength(length);
            // Without transactions the server keeps each row at once.
            progress.committing = !has_transactions;
            inserter->Insert(row);
            ++progress.row;
        }
        next_step();
        progress.committing = true;
        Execute("commit");
    } catch (const QuestionFault& fault) {
        progress.unknown = !has_transactions && progress.row > 0;
        try {
            next_step();
            Execute("rollback");
        } catch (const ServerFault&) { // to the server, too, the transaction is over
            throw std::runtime_error(fault.what());
        }
        throw;
    }
}

void MysqlConnection::BeginStoring() {
    if (!m_stores) {
        // Times are in UTC, and a value that a column cannot hold is an error, not another value.
        Execute("set time_zone = '+00:00', "
                "sql_mode = concat(@@sql_mode, ',STRICT_ALL_TABLES')");
        m_stores = true;
    }
    Execute("start transaction");
}

bool MysqlConnection::HasTransactions(const std::string& table) {
    return AskServer("select transactions from information_schema.engines where engine = (select "
                     "engine from information_schema.tables where table_schema = database() and "
                     "table_name = '" +
                         table + "')",
                     0) == "YES";
}

void MysqlConnection::Execute(const std::string& statement) {
    MYSQL* const mysql = m_mysql.get();
    if (::mysql_real_query(mysql, statement.data(), statement.size()) != 0)
        FailMysql(::mysql_errno(mysql), ::mysql_error(mysql));
}

MysqlStatement& MysqlConnection::Prepare(const std::string& text) {
    const auto known = m_statements.find(text);
    if (known != m_statements.end())
        return *known->second;
    if (m_statements.size() >= MOST_STATEMENTS)
        m_statements.clear();
    auto statement = std::make_unique<MysqlStatement>(m_mysql.get(), text);
    return *(m_statements[text] = std::move(statement));
}

/// True if `value` is a valid text of the connection's character set, but not ASCII. A column of
/// another character set may be unable to contain it.
bool MysqlConnection::IsForeignText(const std::string& value) const {
    const MARIADB_CHARSET_INFO* const charset = m_mysql->charset;
    bool is_foreign = false;
    const char* const end = value.data() + value.size();
    for (const char* at = value.data(); at < end;) {
        unsigned length = 1;
        if (static_cast<unsigned char>(*at) >= 0x80) {
            is_foreign = true;
            if (charset->char_maxlen > 1)
                length = charset->mb_valid(at, end);
        }
        if (length == 0)
            return false;
        at += length;
    }
    return is_foreign;
}

/// Throws for a value that is too long: the server would close the connection and look as if it
/// were down.
void MysqlConnection::CheckLength(std::size_t length) {
    if (length <= SHORT_VALUE)
        return;
    if (m_longest_value == 0) {
        std::size_t packet = 0;
        const std::string text = AskServer("select @@max_allowed_packet", 0);
        std::from_chars(text.data(), text.data() + text.size(), packet);
        m_longest_value = packet > MESSAGE_HEAD ? packet - MESSAGE_HEAD : 1;
    }
    if (length > m_longest_value)
        throw QuestionFault("the value is longer than max_allowed_packet of the server");
}

/// One value of the first row of the answer.
std::string MysqlConnection::AskServer(const std::string& statement, unsigned column) {
    MYSQL* const mysql = m_mysql.get();
    if (::mysql_real_query(mysql, statement.data(), statement.size()) != 0)
        FailMysql(::mysql_errno(mysql), ::mysql_error(mysql));
    const std::unique_ptr<MYSQL_RES, decltype(&::mysql_free_result)> rows(
        ::mysql_store_result(mysql), ::mysql_free_result);
    if (!rows)
        FailMysql(::mysql_errno(mysql), ::mysql_error(mysql));
    const MYSQL_ROW row = ::mysql_fetch_row(rows.get());
    const bool is_there = row && column < ::mysql_num_fields(rows.get()) && row[column];
    return is_there ? row[column] : "no reason given";
}

} // namespace kwlookup
