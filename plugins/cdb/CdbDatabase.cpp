// SPDX-License-Identifier: MIT
#include "plugins/cdb/CdbDatabase.h"

#include <algorithm>
#include <cdb.h>
#include <stdexcept>

namespace kwlookup {

namespace {

// The format has pairs of 32-bit numbers: position and size of a table, hash and position in a
// slot, lengths of key and value in a record.
constexpr unsigned PAIR_BYTES = 8;

std::uint32_t Number(const char* bytes) {
    return ::cdb_unpack(reinterpret_cast<const unsigned char*>(bytes));
}

} // namespace

CdbDatabase::CdbDatabase(const std::string& name)
    : m_file(FileBytes::Open(name)), m_data_end(m_file->GetSize()) {
    const std::size_t header_bytes = m_tables.size() * PAIR_BYTES;
    const char* pair = Read(0, header_bytes);
    for (Table& table : m_tables) {
        table = {Number(pair), Number(pair + 4)};
        pair += PAIR_BYTES;
        const std::uint64_t end = table.begin + std::uint64_t(table.slots) * PAIR_BYTES;
        // The tables are at the end of the file: if they are within it, so are the records.
        if (table.begin < header_bytes || end > m_file->GetSize())
            Fail();
        m_data_end = std::min<std::uint64_t>(m_data_end, table.begin);
    }
    m_file->CheckUnchanged();
}

bool CdbDatabase::Find(std::string_view key, bool all, Values& values) {
    const std::uint32_t hash = ::cdb_hash(key.data(), static_cast<unsigned>(key.size()));
    const Table table = m_tables[hash % m_tables.size()];
    bool found = false;
    std::uint32_t slot = table.slots ? hash / m_tables.size() % table.slots : 0;
    for (std::uint32_t i = 0; i < table.slots && (all || !found); ++i) {
        const char* pair = Read(table.begin + std::uint64_t(slot) * PAIR_BYTES, PAIR_BYTES);
        const std::uint32_t record = Number(pair + 4);
        if (record == 0)
            break;
        if (Number(pair) == hash)
            found |= AddIfEqual(record, key, values);
        slot = slot + 1 == table.slots ? 0 : slot + 1;
    }
    m_file->CheckUnchanged();
    return found;
}

bool CdbDatabase::AddIfEqual(std::uint64_t record, std::string_view key, Values& values) {
    const char* lengths = Read(record, PAIR_BYTES);
    const std::uint64_t key_length = Number(lengths);
    const std::uint64_t value_length = Number(lengths + 4);
    const std::uint64_t begin = record + PAIR_BYTES;
    if (record < m_tables.size() * PAIR_BYTES || begin + key_length + value_length > m_data_end)
        Fail();
    if (key_length != key.size())
        return false;
    const std::string_view bytes(Read(begin, key_length + value_length), key_length + value_length);
    if (bytes.substr(0, key_length) != key)
        return false;
    values.Add(bytes.substr(key_length));
    return true;
}

// The bytes are valid until the next call.
const char* CdbDatabase::Read(std::uint64_t offset, std::size_t length) {
    const std::string_view bytes = m_file->Read(offset, length, m_buffer);
    if (bytes.size() != length)
        Fail();
    return bytes.data();
}

void CdbDatabase::Fail() const {
    throw std::runtime_error(m_file->GetName() + ": not a valid cdb file");
}

} // namespace kwlookup
