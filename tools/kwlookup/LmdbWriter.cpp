// SPDX-License-Identifier: MIT
#include "NewFile.h"
#include "TableWriter.h"

#include <algorithm>
#include <cstddef>
#include <lmdb.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kwlookup {

namespace {

/// The format's limit for a key, and for each value of a key with several.
constexpr std::size_t LONGEST_KEY = 511;

constexpr std::size_t PAGE = 4096;

/// Writes an LMDB file. The records are kept in memory until the end, because sorted records fill
/// the pages, which makes the file as short as possible.
///
/// Threads: one.
class LmdbWriter : public TableWriter {
public:
    LmdbWriter(const std::string& name, bool all_values) : m_file(name), m_all_values(all_values) {}

    void Add(std::string_view key, std::string_view value) override;
    void Finish() override;

private:
    struct Close {
        void operator()(MDB_env* environment) const { ::mdb_env_close(environment); }
    };

    void Check(int error) const;
    std::size_t MapSize() const;
    void Write();

    NewFile m_file;
    const bool m_all_values;
    std::vector<std::pair<std::string, std::string>> m_records;
};

MDB_val ValueOf(const std::string& text) {
    return {text.size(), const_cast<char*>(text.data())};
}

} // namespace

void LmdbWriter::Add(std::string_view key, std::string_view value) {
    if (key.empty() || key.size() > LONGEST_KEY)
        throw std::runtime_error(m_file.GetName() + ": a key must have 1 to " +
                                 std::to_string(LONGEST_KEY) + " bytes");
    if (m_all_values && value.size() > LONGEST_KEY)
        throw std::runtime_error(m_file.GetName() + ": a value of several must have at most " +
                                 std::to_string(LONGEST_KEY) + " bytes");
    m_records.emplace_back(key, value);
}

void LmdbWriter::Finish() {
    std::sort(m_records.begin(), m_records.end());
    m_records.erase(std::unique(m_records.begin(), m_records.end()), m_records.end());
    Write();
    m_file.Finish();
}

/// An upper bound for the size of the file, whatever space its pages leave free.
std::size_t LmdbWriter::MapSize() const {
    std::size_t bytes = 1 << 20;
    for (const auto& [key, value] : m_records) {
        constexpr std::size_t HEADERS = 32;
        const std::size_t used = key.size() + value.size() + HEADERS;
        bytes += 3 * used + (used > PAGE / 2 ? 2 * PAGE : 0);
    }
    return (bytes / PAGE + 1) * PAGE;
}

void LmdbWriter::Write() {
    MDB_env* made = nullptr;
    Check(::mdb_env_create(&made));
    const std::unique_ptr<MDB_env, Close> environment(made);
    Check(::mdb_env_set_mapsize(made, MapSize()));
    // No locks and no syncs: nobody else knows the file yet, and Finish() syncs it.
    Check(::mdb_env_open(made, m_file.GetNewName().c_str(), MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC,
                         0600));
    MDB_txn* transaction = nullptr;
    Check(::mdb_txn_begin(made, nullptr, 0, &transaction));
    try {
        MDB_dbi table;
        Check(::mdb_dbi_open(transaction, nullptr, m_all_values ? MDB_DUPSORT : 0, &table));
        for (const auto& [key, value] : m_records) {
            MDB_val stored_key = ValueOf(key);
            MDB_val stored_value = ValueOf(value);
            Check(::mdb_put(transaction, table, &stored_key, &stored_value,
                            m_all_values ? MDB_APPENDDUP : MDB_APPEND));
        }
    } catch (...) {
        ::mdb_txn_abort(transaction);
        throw;
    }
    Check(::mdb_txn_commit(transaction));
}

void LmdbWriter::Check(int error) const {
    if (error != 0)
        throw std::runtime_error(m_file.GetName() + ": " + ::mdb_strerror(error));
}

std::unique_ptr<TableWriter> MakeLmdbWriter(const std::string& name, bool all_values) {
    return std::make_unique<LmdbWriter>(name, all_values);
}

} // namespace kwlookup
