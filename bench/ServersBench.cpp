// SPDX-License-Identifier: MIT
// A search through holder, plug-in and connection in a server on this machine, compared with a
// plain loop over the client library. Tables have 10,000 records, and half of the searches are
// hits.
#include "bench/BenchData.h"
#include "bench/PluginList.h"
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"
#include "servers/MariaServer.h"
#include "servers/PostgresServer.h"
#include "servers/RedisServer.h"
#include "servers/SlapdServer.h"

#include <benchmark/benchmark.h>

#include <hiredis/hiredis.h>
#include <ldap.h>
#include <libpq-fe.h>
#include <mysql.h>
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

    class Loop {
    public:
        explicit Loop(const Postgres& service) {
            const std::string parameters =
                "host=127.0.0.1 port=" + std::to_string(service.m_server.GetPort()) +
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

template <typename Service>
const Service& TheService() {
    static const Service service;
    return service;
}

/// Search for keys of which every second one exists, and check every answer.
template <typename Search>
void Ask(benchmark::State& state, const Search& search) {
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
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
