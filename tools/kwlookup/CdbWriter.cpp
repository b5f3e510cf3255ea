// SPDX-License-Identifier: MIT
#include "CdbWriter.h"

#include <cerrno>
#include <cstdint>
#include <limits>

namespace kwlookup {

namespace {

/// The sizes of key and value.
constexpr std::uint64_t RECORD_HEADER_BYTES = 8;

} // namespace

CdbWriter::CdbWriter(const std::string& name) : m_file(name) {
    if (::cdb_make_start(&m_make, m_file.GetDescriptor()) != 0)
        m_file.Fail();
}

CdbWriter::~CdbWriter() {
    if (!m_finished)
        ::cdb_make_finish(&m_make); // the only function that frees its memory
}

void CdbWriter::Add(std::string_view key, std::string_view value) {
    // The library takes sizes of 32 bits, and calls a file that grows too large a lack of memory.
    constexpr std::uint64_t LARGEST = std::numeric_limits<std::uint32_t>::max();
    const std::uint64_t key_size = key.size(), value_size = value.size();
    if (key_size > LARGEST || value_size > LARGEST ||
        std::uint64_t(m_make.cdb_dpos) + RECORD_HEADER_BYTES + key_size + value_size > LARGEST) {
        errno = EFBIG;
        m_file.Fail();
    }
    if (::cdb_make_add(&m_make, key.data(), static_cast<unsigned>(key.size()), value.data(),
                       static_cast<unsigned>(value.size())) != 0)
        m_file.Fail();
}

void CdbWriter::Finish() {
    m_finished = true;
    if (::cdb_make_finish(&m_make) != 0)
        m_file.Fail();
    m_file.Finish();
}

std::unique_ptr<TableWriter> MakeCdbWriter(const std::string& name) {
    return std::make_unique<CdbWriter>(name);
}

} // namespace kwlookup
