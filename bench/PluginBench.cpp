// SPDX-License-Identifier: MIT
// A search through holder, plug-in and database, compared with a plain loop over the database's own
// interface, in tables of 1,000,000 records.
#include "bench/BenchData.h"
#include "bench/PluginList.h"
#include "lookup/KwFactory.h"

#include <benchmark/benchmark.h>

#include <cdb.h>
#include <db.h>
#include <fcntl.h>
#include <lmdb.h>
#include <sqlite3.h>

namespace {

using namespace kwlookup;

class Cdb {
public:
    Cdb() {
        if (cdb_init(&m_cdb, ::open(DataFile("list.tinycdb").c_str(), O_RDONLY)) != 0)
            Fail("cannot open " + DataFile("list.tinycdb"));
    }
    bool operator()(const std::string& key, std::string& result) const {
        if (cdb_find(&m_cdb, key.data(), static_cast<unsigned>(key.size())) <= 0)
            return false;
        const unsigned size = cdb_datalen(&m_cdb);
        result.assign(static_cast<const char*>(cdb_get(&m_cdb, size, cdb_datapos(&m_cdb))), size);
        return true;
    }

private:
    mutable struct cdb m_cdb;
};

class Berkeley {
public:
    explicit Berkeley(const std::string& name) {
        if (db_create(&m_db, nullptr, 0) != 0 ||
            m_db->open(m_db, nullptr, DataFile(name).c_str(), nullptr, DB_UNKNOWN, DB_RDONLY, 0))
            Fail("cannot open " + DataFile(name));
    }
    bool operator()(const std::string& text, std::string& result) const {
        DBT key = {};
        key.data = const_cast<char*>(text.data());
        key.size = static_cast<u_int32_t>(text.size());
        DBT value = {};
        if (m_db->get(m_db, nullptr, &key, &value, 0) != 0)
            return false;
        result.assign(static_cast<const char*>(value.data), value.size);
        return true;
    }

private:
    DB* m_db = nullptr;
};

class Lmdb {
public:
    Lmdb() {
        MDB_env* env = nullptr;
        if (mdb_env_create(&env) != 0 ||
            mdb_env_open(env, DataFile("list.lmdb").c_str(), MDB_NOSUBDIR | MDB_RDONLY | MDB_NOLOCK,
                         0) != 0 ||
            mdb_txn_begin(env, nullptr, MDB_RDONLY, &m_transaction) != 0 ||
            mdb_dbi_open(m_transaction, nullptr, 0, &m_db) != 0)
            Fail("cannot open " + DataFile("list.lmdb"));
        mdb_txn_reset(m_transaction);
    }
    bool operator()(const std::string& text, std::string& result) const {
        MDB_val key{text.size(), const_cast<char*>(text.data())};
        MDB_val value{};
        mdb_txn_renew(m_transaction);
        const bool found = mdb_get(m_transaction, m_db, &key, &value) == 0;
        if (found)
            result.assign(static_cast<const char*>(value.mv_data), value.mv_size);
        mdb_txn_reset(m_transaction);
        return found;
    }

private:
    MDB_txn* m_transaction = nullptr;
    MDB_dbi m_db = 0;
};

class Sqlite {
public:
    Sqlite() {
        sqlite3* db = nullptr;
        if (sqlite3_open_v2(DataFile("list.sqlite").c_str(), &db,
                            SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) ||
            sqlite3_prepare_v2(db, "select key from list where key = ?", -1, &m_query, nullptr))
            Fail("cannot open " + DataFile("list.sqlite"));
    }
    bool operator()(const std::string& key, std::string& result) const {
        sqlite3_bind_text(m_query, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
        bool found = false;
        while (sqlite3_step(m_query) == SQLITE_ROW) {
            const auto* text = sqlite3_column_text(m_query, 0);
            result.assign(reinterpret_cast<const char*>(text),
                          static_cast<std::size_t>(sqlite3_column_bytes(m_query, 0)));
            found = true;
        }
        sqlite3_reset(m_query);
        return found;
    }

private:
    sqlite3_stmt* m_query = nullptr;
};

struct Variants {
    Keys keys = Keys::Read(false);
    PluginList cdb_list{"cdb:OnError=exception|Database=" + DataFile("list.tinycdb") + "|$s"};
    Cdb cdb;
    PluginList hash_list{"berkeley:OnError=exception|Database=" + DataFile("list.hash") + "|$s"};
    Berkeley hash{"list.hash"};
    PluginList btree_list{"berkeley:OnError=exception|Database=" + DataFile("list.btree") + "|$s"};
    Berkeley btree{"list.btree"};
    const bool lmdb_is_known = KwFactory<KwIfLookup>::Instance().Register("lmdb", nullptr);
    PluginList lmdb_list{"lmdb:OnError=exception|Database=" + DataFile("list.lmdb") + "|$s"};
    Lmdb lmdb;
    PluginList sqlite_list{"sqlite:OnError=exception|Database=" + DataFile("list.sqlite") +
                           "|select key from list where key = '$s'"};
    Sqlite sqlite;
};

const Variants& All() {
    static const Variants variants;
    return variants;
}

/// Search for `state.range(0)` keys in a round, for other ones in each round, and check every
/// answer.
template <auto Search>
void Ask(benchmark::State& state) {
    const Keys& keys = All().keys;
    const auto count = static_cast<std::size_t>(state.range(0));
    static std::size_t round = 0;
    std::size_t wrong = 0;
    std::string result;
    for (auto _ : state) {
        std::size_t key = count * round++ % keys.texts.size();
        for (std::size_t i = 0; i < count; ++i, ++key) {
            key %= keys.texts.size();
            result.clear();
            const bool found = (All().*Search)(keys.texts[key], result);
            wrong += found != (keys.in_list[key] != 0) || result.empty() == found;
        }
    }
    if (wrong != 0)
        state.SkipWithError("wrong answers");
    state.SetItemsProcessed(state.range(0) * state.iterations());
}

constexpr int MANY = 1000000, FEW = 100000;

BENCHMARK(Ask<&Variants::cdb_list>)->Name("cdb/kwlookup")->Arg(MANY)->Iterations(1);
BENCHMARK(Ask<&Variants::cdb>)->Name("cdb/bare")->Arg(MANY)->Iterations(1);
BENCHMARK(Ask<&Variants::hash_list>)->Name("hash/kwlookup")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::hash>)->Name("hash/bare")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::btree_list>)->Name("btree/kwlookup")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::btree>)->Name("btree/bare")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::lmdb_list>)->Name("lmdb/kwlookup")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::lmdb>)->Name("lmdb/bare")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::sqlite_list>)->Name("sqlite/kwlookup")->Arg(FEW)->Iterations(1);
BENCHMARK(Ask<&Variants::sqlite>)->Name("sqlite/bare")->Arg(FEW)->Iterations(1);

} // namespace
