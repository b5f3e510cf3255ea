// SPDX-License-Identifier: MIT
// A search through holder, plug-in and connection in a server on this machine, compared with a
// plain loop over the client library. Tables have 10,000 records, and half of the searches are
// hits.
#include "bench/BenchData.h"
#include "bench/PluginList.h"
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"
#include "servers/FirebirdServer.h"
#include "servers/MariaServer.h"
#include "servers/OdbcDriver.h"
#include "servers/PostgresServer.h"
#include "servers/RedisServer.h"
#include "servers/SlapdServer.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <hiredis/hiredis.h>
#include <ibase.h>
#include <ldap.h>
#include <libpq-fe.h>
#include <mysql.h>
#include <sql.h>
#include <sqlext.h>
#include <string>
#include <string_view>
#include <vector>

using namespace kwlookup;

namespace {

constexpr int RECORDS = 10000;

/// The keys to search for. The first half of them is in the tables.
const std::vector<std::string>& Keys() {
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> made;
        for (int i = 0; i < 2 * RECORDS; ++i)
            made.push_back("user" + std::to_string(i) + "@mail.example.org");
        return made;
    }();
    return keys;
}

/// Each service has a server with the keys 0 to RECORDS, an Item() for the server, and a Loop,
/// which does the same searches with the client library on a connection of its own.
class Postgres {
public:
    Postgres() {
        m_server.Execute("create role kw login password 'secret';"
                         "create table list (key text primary key, result text);"
                         "insert into list select 'user' || i || '@mail.example.org', 'result' || i"
                         "  from generate_series(0, " +
                         std::to_string(RECORDS - 1) +
                         ") i;"
                         "grant select on list to kw; analyze list");
    }

    std::string Item(const std::string& settings) const {
        return "postgres:OnError=exception|Hosts=" + m_server.GetHost() +
               "|User=kw|Password=secret|Database=postgres|" + settings +
               "select result from list where key = '$s'";
    }

    int GetPort() const { return m_server.GetPort(); }

    class Loop {
    public:
        explicit Loop(const Postgres& service) {
            const std::string parameters =
                "host=127.0.0.1 port=" + std::to_string(service.GetPort()) +
                " user=kw password=secret dbname=postgres";
            m_connection = ::PQconnectdb(parameters.c_str());
            ::PQclear(::PQprepare(m_connection, "s", "select result from list where key = $1", 1,
                                  nullptr));
            if (::PQstatus(m_connection) != CONNECTION_OK)
                Fail(::PQerrorMessage(m_connection));
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() { ::PQfinish(m_connection); }

        bool operator()(const std::string& key, std::string& result) const {
            const char* const values[] = {key.c_str()};
            PGresult* const rows =
                ::PQexecPrepared(m_connection, "s", 1, values, nullptr, nullptr, 0);
            const int found = ::PQntuples(rows);
            for (int i = 0; i < found; ++i)
                result.append(::PQgetvalue(rows, i, 0),
                              static_cast<std::size_t>(::PQgetlength(rows, i, 0)));
            ::PQclear(rows);
            return found > 0;
        }

    private:
        PGconn* m_connection;
    };

private:
    PostgresServer m_server;
};

class Mysql {
public:
    Mysql() {
        m_server.Execute("create user kw@'%' identified by 'secret';"
                         "create table list (`key` varchar(64) primary key, result text);"
                         "insert into list select concat('user', seq, '@mail.example.org'),"
                         "  concat('result', seq) from seq_0_to_" +
                         std::to_string(RECORDS - 1) +
                         ";"
                         "grant select on list to kw@'%'; analyze table list");
    }

    std::string Item(const std::string& settings) const {
        return "mysql:OnError=exception|Hosts=" + m_server.GetHost() +
               "|User=kw|Password=secret|Database=test|" + settings +
               "select result from list where key = '$s'";
    }

    class Loop {
    public:
        explicit Loop(const Mysql& service) : m_connection(::mysql_init(nullptr)) {
            static constexpr std::string_view STATEMENT = "select result from list where `key` = ?";
            ::mysql_optionsv(m_connection, MYSQL_SET_CHARSET_NAME, "utf8mb4");
            if (!::mysql_real_connect(m_connection, "127.0.0.1", "kw", "secret", "test",
                                      static_cast<unsigned>(service.m_server.GetPort()), nullptr,
                                      0))
                Fail(::mysql_error(m_connection));
            m_statement = ::mysql_stmt_init(m_connection);
            if (::mysql_stmt_prepare(m_statement, STATEMENT.data(), STATEMENT.size()) != 0)
                Fail(::mysql_stmt_error(m_statement));
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() {
            ::mysql_stmt_close(m_statement);
            ::mysql_close(m_connection);
        }

        bool operator()(const std::string& key, std::string& result) const {
            MYSQL_BIND value{};
            value.buffer_type = MYSQL_TYPE_STRING;
            value.buffer = const_cast<char*>(key.data());
            value.buffer_length = key.size();
            ::mysql_stmt_bind_param(m_statement, &value);
            ::mysql_stmt_execute(m_statement);
            char text[256];
            unsigned long length = 0;
            MYSQL_BIND column{};
            column.buffer_type = MYSQL_TYPE_STRING;
            column.buffer = text;
            column.buffer_length = sizeof(text);
            column.length = &length;
            ::mysql_stmt_bind_result(m_statement, &column);
            bool found = false;
            while (::mysql_stmt_fetch(m_statement) == 0) {
                result.append(text, length);
                found = true;
            }
            return found;
        }

    private:
        MYSQL* m_connection;
        MYSQL_STMT* m_statement;
    };

private:
    MariaServer m_server;
};

class Redis {
public:
    Redis() {
        KwFactory<KwIfLookup>::Instance().Register("redis", nullptr);
        std::vector<std::vector<std::string>> commands;
        for (int i = 0; i < RECORDS; ++i)
            commands.push_back(
                {"SET", Keys()[static_cast<std::size_t>(i)], "result" + std::to_string(i)});
        m_server.Load(commands);
    }

    std::string Item(const std::string& settings) const {
        return "redis:OnError=exception|Hosts=" + m_server.GetHost() + "|" + settings + "GET $s";
    }

    class Loop {
    public:
        explicit Loop(const Redis& service)
            : m_context(::redisConnect("127.0.0.1", service.m_server.GetPort())) {
            if (!m_context || m_context->err)
                Fail("cannot connect to Redis");
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() { ::redisFree(m_context); }

        bool operator()(const std::string& key, std::string& result) const {
            auto* const reply = static_cast<redisReply*>(
                ::redisCommand(m_context, "GET %b", key.data(), key.size()));
            const bool found = reply && reply->type == REDIS_REPLY_STRING;
            if (found)
                result.append(reply->str, reply->len);
            ::freeReplyObject(reply);
            return found;
        }

    private:
        redisContext* m_context;
    };

private:
    RedisServer m_server;
};

class Ldap {
public:
    Ldap() {
        std::string entries;
        for (int i = 0; i < RECORDS; ++i) {
            const std::string number = std::to_string(i);
            entries += "dn: uid=user" + number +
                       ",dc=example,dc=test\nobjectClass: inetOrgPerson\n" +
                       "cn: c\nsn: s\nuid: user" + number + "\nmail: user" + number +
                       "@mail.example.org\ndescription: result" + number + "\n\n";
        }
        m_server.Add(entries);
    }

    std::string Item(const std::string& settings) const {
        return "ldap:OnError=exception|Hosts=" + m_server.GetHost() +
               "|Base=dc=example,dc=test|Attributes=description|" + settings + "(mail=$s)";
    }

    class Loop {
    public:
        explicit Loop(const Ldap& service) {
            const int version = LDAP_VERSION3;
            if (::ldap_initialize(&m_ldap, ("ldap://" + service.m_server.GetHost()).c_str()) ||
                ::ldap_set_option(m_ldap, LDAP_OPT_PROTOCOL_VERSION, &version) ||
                ::ldap_connect(m_ldap))
                Fail("cannot connect to slapd");
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() { ::ldap_unbind_ext(m_ldap, nullptr, nullptr); }

        bool operator()(const std::string& key, std::string& result) const {
            char attribute[] = "description";
            char* attributes[] = {attribute, nullptr};
            LDAPMessage* answer = nullptr;
            if (::ldap_search_ext_s(m_ldap, "dc=example,dc=test", LDAP_SCOPE_SUBTREE,
                                    ("(mail=" + key + ")").c_str(), attributes, 0, nullptr, nullptr,
                                    nullptr, 100, &answer) != LDAP_SUCCESS)
                Fail("slapd does not answer");
            LDAPMessage* const entry = ::ldap_first_entry(m_ldap, answer);
            berval** const values =
                entry ? ::ldap_get_values_len(m_ldap, entry, attribute) : nullptr;
            for (berval** value = values; value && *value; ++value)
                result.append((*value)->bv_val, (*value)->bv_len);
            ::ldap_value_free_len(values);
            ::ldap_msgfree(answer);
            return entry != nullptr;
        }

    private:
        LDAP* m_ldap = nullptr;
    };

private:
    SlapdServer m_server{nullptr, "index objectClass,mail eq\n"};
};

/// PostgreSQL, through its driver.
class Odbc {
public:
    std::string Item(const std::string& settings) const {
        return "odbc:OnError=exception|Connection=" + GetConnection() +
               "|User=kw|Password=secret|" + settings + "select result from list where key = '$s'";
    }

    class Loop {
    public:
        explicit Loop(const Odbc& service) {
            std::string connection = service.GetConnection() + ";UID=kw;PWD=secret";
            std::string statement = "select result from list where key = ?";
            ::SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &m_environment);
            ::SQLSetEnvAttr(m_environment, SQL_ATTR_ODBC_VERSION,
                            reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
            ::SQLAllocHandle(SQL_HANDLE_DBC, m_environment, &m_connection);
            if (!SQL_SUCCEEDED(::SQLDriverConnect(m_connection, nullptr, Text(connection), SQL_NTS,
                                                  nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT)) ||
                !SQL_SUCCEEDED(::SQLAllocHandle(SQL_HANDLE_STMT, m_connection, &m_statement)) ||
                !SQL_SUCCEEDED(::SQLPrepare(m_statement, Text(statement), SQL_NTS)))
                Fail("cannot connect through ODBC");
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() {
            ::SQLFreeHandle(SQL_HANDLE_STMT, m_statement);
            ::SQLDisconnect(m_connection);
            ::SQLFreeHandle(SQL_HANDLE_DBC, m_connection);
            ::SQLFreeHandle(SQL_HANDLE_ENV, m_environment);
        }

        bool operator()(std::string key, std::string& result) const {
            auto length = static_cast<SQLLEN>(key.size());
            ::SQLBindParameter(m_statement, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, key.size(),
                               0, Text(key), length, &length);
            ::SQLExecute(m_statement);
            bool found = false;
            while (SQL_SUCCEEDED(::SQLFetch(m_statement))) {
                char text[256];
                ::SQLGetData(m_statement, 1, SQL_C_CHAR, text, sizeof(text), &length);
                result.append(text, static_cast<std::size_t>(length));
                found = true;
            }
            ::SQLFreeStmt(m_statement, SQL_CLOSE);
            return found;
        }

    private:
        static SQLCHAR* Text(std::string& text) { return reinterpret_cast<SQLCHAR*>(text.data()); }

        SQLHANDLE m_environment = SQL_NULL_HANDLE;
        SQLHANDLE m_connection = SQL_NULL_HANDLE;
        SQLHANDLE m_statement = SQL_NULL_HANDLE;
    };

private:
    std::string GetConnection() const {
        return "Driver=" + OdbcDriver("psqlodbcw.so") +
               ";Servername=127.0.0.1;Port=" + std::to_string(m_server.GetPort()) +
               ";Database=postgres";
    }

    Postgres m_server;
};

class Firebird {
public:
    Firebird() {
        m_server.Execute(
            "create user kw password 'secret';\n"
            "create table list (name varchar(64) character set utf8 primary key,\n"
            "  result varchar(64) character set utf8);\n"
            "grant select on list to kw;\ncommit;\n"
            "set term ^;\nexecute block as declare i int = 0; begin while (i < " +
            std::to_string(RECORDS) +
            ") do begin\n"
            "insert into list values ('user' || :i || '@mail.example.org', 'result' || :i);\n"
            "i = i + 1; end end^\nset term ;^\n");
    }

    std::string Item(const std::string& settings) const {
        return "firebird:OnError=exception|Hosts=" + m_server.GetHost() +
               "|User=kw|Password=secret|Database=test|" + settings +
               "select result from list where name = '$s'";
    }

    class Loop {
    public:
        explicit Loop(const Firebird& service) {
            static constexpr char LOGIN[] = "\1\34\2kw\35\6secret\60\4UTF8";
            static_assert(isc_dpb_version1 == 1 && isc_dpb_user_name == 034 &&
                          isc_dpb_password == 035 && isc_dpb_lc_ctype == 060);
            static constexpr char OPTIONS[] = {isc_tpb_version3, isc_tpb_read,
                                               isc_tpb_read_committed, isc_tpb_rec_version};
            const std::string name =
                "127.0.0.1/" + std::to_string(service.m_server.GetPort()) + ":test";
            m_parameters.version = m_row.version = SQLDA_VERSION1;
            m_parameters.sqln = m_row.sqln = 1;
            ::isc_attach_database(m_status, 0, name.c_str(), &m_attachment, sizeof(LOGIN) - 1,
                                  LOGIN);
            Check();
            ::isc_start_transaction(m_status, &m_transaction, 1, &m_attachment, sizeof(OPTIONS),
                                    OPTIONS);
            ::isc_dsql_allocate_statement(m_status, &m_attachment, &m_statement);
            ::isc_dsql_prepare(m_status, &m_transaction, &m_statement, 0,
                               "select result from list where name = ?", SQL_DIALECT_V6, &m_row);
            ::isc_dsql_describe_bind(m_status, &m_statement, SQLDA_VERSION1, &m_parameters);
            Check();
            m_parameters.sqlvar[0].sqldata = m_key;
            m_parameters.sqlvar[0].sqlind = m_row.sqlvar[0].sqlind = &m_null;
            m_row.sqlvar[0].sqldata = m_result;
        }
        Loop(const Loop&) = delete;
        Loop& operator=(const Loop&) = delete;
        ~Loop() {
            ::isc_dsql_free_statement(m_status, &m_statement, DSQL_drop);
            ::isc_rollback_transaction(m_status, &m_transaction);
            ::isc_detach_database(m_status, &m_attachment);
        }

        bool operator()(const std::string& key, std::string& result) {
            Put(m_key, key);
            ::isc_dsql_execute(m_status, &m_transaction, &m_statement, SQLDA_VERSION1,
                               &m_parameters);
            bool found = false;
            while (::isc_dsql_fetch(m_status, &m_statement, SQLDA_VERSION1, &m_row) == 0) {
                ISC_USHORT length = 0;
                std::memcpy(&length, m_result, sizeof(length));
                result.append(m_result + sizeof(length), length);
                found = true;
            }
            ::isc_dsql_free_statement(m_status, &m_statement, DSQL_close);
            return found;
        }

    private:
        void Check() const {
            if (m_status[0] == 1 && m_status[1] != 0)
                ::Fail("Firebird fails: " + std::to_string(m_status[1]));
        }

        /// As SQL_VARYING has a text: behind its length.
        static void Put(char* place, const std::string& text) {
            const auto length = static_cast<ISC_USHORT>(text.size());
            std::memcpy(place, &length, sizeof(length));
            std::copy(text.begin(), text.end(), place + sizeof(length));
        }

        ISC_STATUS_ARRAY m_status{};
        isc_db_handle m_attachment = 0;
        isc_tr_handle m_transaction = 0;
        isc_stmt_handle m_statement = 0;
        XSQLDA m_parameters{}; // has room for one value
        XSQLDA m_row{};
        char m_key[512];
        char m_result[512];
        short m_null = 0;
    };

private:
    FirebirdServer m_server;
};

template <typename Service>
const Service& TheService() {
    static const Service service;
    return service;
}

/// Search for keys of which every second one exists, and check every answer.
template <typename Search>
void Ask(benchmark::State& state, Search&& search) {
    std::size_t wrong = 0;
    std::string result;
    const std::vector<std::string>& keys = Keys();
    int i = state.thread_index() * 1237;
    for (auto _ : state) {
        i = (i + 7919) % (2 * RECORDS);
        result.clear();
        const bool found = search(keys[static_cast<std::size_t>(i)], result);
        wrong += found != (i < RECORDS) || result.empty() == found;
    }
    if (wrong != 0)
        state.SkipWithError("wrong answers");
    state.SetItemsProcessed(state.iterations());
}

template <typename Service>
void AskKwlookup(benchmark::State& state) {
    static const PluginList list(TheService<Service>().Item(""));
    Ask(state, list);
}

template <typename Service>
void AskLoop(benchmark::State& state) {
    Ask(state, typename Service::Loop(TheService<Service>()));
}

template <typename Service>
void AskCache(benchmark::State& state) {
    static const PluginList list(
        TheService<Service>().Item("CacheTime=1d|NegativeCacheTime=1d|CacheSize=30000|"));
    std::string result;
    for (const std::string& key : Keys())
        list(key, result);
    Ask(state, list);
}

constexpr int FEW = 20000, MANY = 500000;
constexpr int THREADS = 8;

template <typename Service>
void Register(const std::string& name) {
    // Started by this thread: a server dies with the thread that started it, and those that measure
    // come and go.
    TheService<Service>();
    for (const int threads : {1, THREADS}) {
        benchmark::RegisterBenchmark((name + "/kwlookup").c_str(), AskKwlookup<Service>)
            ->Threads(threads)
            ->Iterations(FEW / threads)
            ->UseRealTime();
        benchmark::RegisterBenchmark((name + "/bare").c_str(), AskLoop<Service>)
            ->Threads(threads)
            ->Iterations(FEW / threads)
            ->UseRealTime();
    }
    benchmark::RegisterBenchmark((name + "/cached").c_str(), AskCache<Service>)->Iterations(MANY);
}

} // namespace

int main(int argc, char** argv) {
    Register<Ldap>("ldap");
    Register<Postgres>("postgres");
    Register<Mysql>("mysql");
    Register<Redis>("redis");
    Register<Odbc>("odbc");
    Register<Firebird>("firebird");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
