// SPDX-License-Identifier: MIT
// Writes the data of the benchmarks, which are always the same: the list and the keys as lines, and
// the list as a cdb file, a hash and a btree of Berkeley DB, an LMDB file, an SQLite table, and a
// source for postmap.
#include "bench/BenchData.h"

#include <cdb.h>
#include <cstdio>
#include <db.h>
#include <fcntl.h>
#include <fstream>
#include <lmdb.h>
#include <sqlite3.h>
#include <unistd.h>
#include <unordered_set>

namespace {

void WriteFile(const std::string& name, const std::vector<std::string>& lines, const char* end) {
    std::ofstream file(DataFile(name));
    for (const std::string& line : lines)
        file << line << end;
    if (!file.flush())
        Fail("cannot write " + DataFile(name));
}

/// The keys that a mail server searches for each address: the address, its local part with the '@',
/// its domain, and each parent domain.
std::vector<std::string> ServerKeys(const std::vector<std::string>& addresses) {
    std::vector<std::string> keys;
    for (const std::string& address : addresses) {
        keys.push_back(address);
        std::size_t at = address.find('@');
        keys.push_back(address.substr(0, at + 1));
        for (std::size_t begin = at; begin != std::string::npos;
             begin = address.find('.', begin + 1))
            keys.push_back(address.substr(begin + 1));
    }
    return keys;
}

void WriteCdb(const std::vector<std::string>& list) {
    const int fd = ::open(DataFile("list.tinycdb").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
    struct cdb_make maker;
    if (fd < 0 || cdb_make_start(&maker, fd) != 0)
        Fail("cannot make " + DataFile("list.tinycdb"));
    for (const std::string& text : list)
        cdb_make_add(&maker, text.data(), static_cast<unsigned>(text.size()), "OK", 2);
    if (cdb_make_finish(&maker) != 0 || ::close(fd) != 0)
        Fail("cannot write " + DataFile("list.tinycdb"));
}

void WriteBerkeley(const std::string& file, DBTYPE type, const std::vector<std::string>& list) {
    const std::string name = DataFile(file);
    DB* db = nullptr;
    // With a cache smaller than the table, the random inserts would take minutes.
    if (db_create(&db, nullptr, 0) != 0 || db->set_cachesize(db, 0, 512 << 20, 1) != 0 ||
        db->open(db, nullptr, name.c_str(), nullptr, type, DB_CREATE | DB_TRUNCATE, 0666) != 0)
        Fail("cannot make " + name);
    for (const std::string& text : list) {
        DBT key = {}, value = {};
        key.data = const_cast<char*>(text.data());
        key.size = static_cast<u_int32_t>(text.size());
        value.data = const_cast<char*>("OK");
        value.size = 2;
        if (db->put(db, nullptr, &key, &value, 0) != 0)
            Fail("cannot write " + name);
    }
    if (db->close(db, 0) != 0)
        Fail("cannot write " + name);
}

void WriteLmdb(const std::vector<std::string>& list) {
    const std::string name = DataFile("list.lmdb");
    std::remove(name.c_str());
    MDB_env* env = nullptr;
    MDB_txn* transaction = nullptr;
    MDB_dbi db = 0;
    if (mdb_env_create(&env) != 0 || mdb_env_set_mapsize(env, std::size_t(1) << 30) != 0 ||
        mdb_env_open(env, name.c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOLOCK, 0666) != 0 ||
        mdb_txn_begin(env, nullptr, 0, &transaction) != 0 ||
        mdb_dbi_open(transaction, nullptr, 0, &db) != 0)
        Fail("cannot make " + name);
    for (const std::string& text : list) {
        MDB_val key{text.size(), const_cast<char*>(text.data())};
        MDB_val value{2, const_cast<char*>("OK")};
        if (mdb_put(transaction, db, &key, &value, 0) != 0)
            Fail("cannot write " + name);
    }
    if (mdb_txn_commit(transaction) != 0)
        Fail("cannot write " + name);
    mdb_env_close(env);
}

void WriteSqlite(const std::vector<std::string>& list) {
    const std::string name = DataFile("list.sqlite");
    std::remove(name.c_str());
    sqlite3* db = nullptr;
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_open(name.c_str(), &db) != SQLITE_OK ||
        sqlite3_exec(db, "CREATE TABLE list (key TEXT PRIMARY KEY) WITHOUT ROWID; BEGIN", nullptr,
                     nullptr, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(db, "INSERT INTO list VALUES (?)", -1, &insert, nullptr) != SQLITE_OK)
        Fail("cannot make " + name);
    for (const std::string& text : list) {
        sqlite3_bind_text(insert, 1, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE)
            Fail("cannot write " + name);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
        Fail("cannot write " + name);
    sqlite3_close(db);
}

} // namespace

int main() {
    AddressSource addresses(1);
    std::unordered_set<std::string> seen;
    const auto next_new = [&] {
        for (;;)
            if (const auto [text, is_new] = seen.insert(addresses.Next()); is_new)
                return *text;
    };
    std::vector<std::string> list;
    std::size_t bytes = 0;
    while (list.size() < LIST_SIZE)
        bytes += list.emplace_back(next_new()).size();

    Random random(2);
    std::vector<std::string> keys, keys_with_truth;
    while (keys.size() < LIST_SIZE) {
        const bool hit = random.Percent(50);
        keys.push_back(hit ? list[random.Below(LIST_SIZE)] : next_new());
        keys_with_truth.push_back((hit ? "1 " : "0 ") + keys.back());
    }

    WriteFile("list", list, "\n");
    std::vector<std::string> with_results = list;
    for (std::size_t i = 0; i < LIST_SIZE; i += 2)
        with_results[i] += " reject";
    WriteFile("list.results", with_results, "\n");
    WriteFile("list.postmap", list, " x\n");
    WriteFile("keys", keys, "\n");
    WriteFile("keys.server", ServerKeys(keys), "\n");
    WriteFile("keys-with-truth", keys_with_truth, "\n");
    WriteCdb(list);
    WriteBerkeley("list.hash", DB_HASH, list);
    WriteBerkeley("list.btree", DB_BTREE, list);
    WriteLmdb(list);
    WriteSqlite(list);
    std::printf("%zu addresses of %.1f bytes on average\n", list.size(),
                static_cast<double>(bytes) / static_cast<double>(LIST_SIZE));
    return 0;
}
