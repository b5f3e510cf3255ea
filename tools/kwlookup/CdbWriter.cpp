// SPDX-License-Identifier: MIT
#include "CdbWriter.h"

namespace kwlookup {

CdbWriter::CdbWriter(const std::string& name) : m_file(name) {
    if (::cdb_make_start(&m_make, m_file.GetDescriptor()) != 0)
        m_file.Fail();
}

CdbWriter::~CdbWriter() {
    if (!m_finished)
        ::cdb_make_finish(&m_make); // the only function that frees its memory
}

void CdbWriter::Add(std::string_view key, std::string_view value) {
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
