// SPDX-License-Identifier: MIT
#include "plugins/cdb/CdbDatabase.h"

#include "text/FileDescriptor.h"
#include "text/SystemError.h"

#include <cerrno>
#include <cstdint>
#include <stdexcept>

namespace {

constexpr unsigned TABLES = 256;
constexpr unsigned HEADER_BYTES = TABLES * 8;
constexpr unsigned SLOT_BYTES = 8;

} // namespace

CdbDatabase::CdbDatabase(const std::string& name) : m_name(name), m_stamp(name) {
    const FileDescriptor file = FileDescriptor::OpenForReading(name);
    if (!file)
        Fail(errno);
    if (::cdb_init(&m_cdb, file.Get()) != 0)
        Fail(errno);
    try {
        CheckTables();
    } catch (...) {
        ::cdb_free(&m_cdb);
        throw;
    }
}

CdbDatabase::~CdbDatabase() {
    ::cdb_free(&m_cdb);
}

bool CdbDatabase::Find(std::string_view key, bool all, Values& values) {
    struct cdb_find search; // a function has that name too
    int found = ::cdb_findinit(&search, &m_cdb, key.data(), static_cast<unsigned>(key.size()));
    bool any = false;
    while (found > 0 && (found = ::cdb_findnext(&search)) > 0) {
        any = true;
        const unsigned length = cdb_datalen(&m_cdb);
        const void* value = ::cdb_get(&m_cdb, length, cdb_datapos(&m_cdb));
        if (!value)
            Fail(errno);
        values.Add({static_cast<const char*>(value), length});
        if (!all)
            return true;
    }
    if (found < 0)
        Fail(errno);
    return any;
}

void CdbDatabase::Fail(int error) const {
    throw std::runtime_error(m_name + ": " +
                             (error == EPROTO ? "not a whole cdb file" : SystemErrorText(error)));
}

// The tables stand at the end of the file: where they are whole, so is the rest.
void CdbDatabase::CheckTables() {
    const auto* table = static_cast<const unsigned char*>(::cdb_get(&m_cdb, HEADER_BYTES, 0));
    if (!table)
        Fail(EPROTO);
    for (unsigned i = 0; i < TABLES; ++i, table += 8) {
        const std::uint64_t begin = ::cdb_unpack(table);
        const std::uint64_t slots = ::cdb_unpack(table + 4);
        if (begin < HEADER_BYTES || begin + slots * SLOT_BYTES > m_cdb.cdb_fsize)
            Fail(EPROTO);
    }
}
