// SPDX-License-Identifier: MIT
#pragma once

#include <lmdb.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// A file that the library of the format has opened for writing.
class LmdbFile {
public:
    using Records = std::vector<std::pair<std::string, std::string>>;

    /// `flags` are for the database, `env_flags` are further ones for the file.
    explicit LmdbFile(const std::string& name, unsigned flags = 0, unsigned env_flags = 0,
                      std::size_t map_size = 64 << 20)
        : m_flags(flags) {
        Check(::mdb_env_create(&m_env));
        Check(::mdb_env_set_mapsize(m_env, map_size));
        Check(::mdb_env_set_maxdbs(m_env, 2));
        Check(::mdb_env_open(m_env, name.c_str(),
                             MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC | env_flags, 0600));
    }
    LmdbFile(const LmdbFile&) = delete;
    LmdbFile& operator=(const LmdbFile&) = delete;
    ~LmdbFile() { ::mdb_env_close(m_env); }

    /// Add records in one transaction. A record replaces that of the same key if the database has
    /// one value for a key.
    void Put(const Records& records, const char* database = nullptr) {
        Transaction(database, [&](MDB_txn* transaction, MDB_dbi table) {
            for (const auto& [key, value] : records) {
                MDB_val k = Value(key), v = Value(value);
                Check(::mdb_put(transaction, table, &k, &v, 0));
            }
        });
    }

    void Delete(const std::string& key) {
        Transaction(nullptr, [&](MDB_txn* transaction, MDB_dbi table) {
            MDB_val k = Value(key);
            Check(::mdb_del(transaction, table, &k, nullptr));
        });
    }

private:
    static MDB_val Value(const std::string& text) {
        return {text.size(), const_cast<char*>(text.data())};
    }

    static void Check(int error) {
        if (error != 0)
            throw std::runtime_error(::mdb_strerror(error));
    }

    template <typename Work>
    void Transaction(const char* database, Work work) {
        MDB_txn* transaction = nullptr;
        Check(::mdb_txn_begin(m_env, nullptr, 0, &transaction));
        MDB_dbi table;
        Check(::mdb_dbi_open(transaction, database, m_flags | MDB_CREATE, &table));
        work(transaction, table);
        Check(::mdb_txn_commit(transaction));
    }

    const unsigned m_flags;
    MDB_env* m_env = nullptr;
};
