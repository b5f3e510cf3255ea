// SPDX-License-Identifier: MIT
#pragma once

#include "NewFile.h"
#include "TableWriter.h"

#include <cdb.h>

namespace kwlookup {

/// Writes a cdb file, in the order of the records.
///
/// Threads: one.
class CdbWriter : public TableWriter {
public:
    explicit CdbWriter(const std::string& name);
    ~CdbWriter() override;

    void Add(std::string_view key, std::string_view value) override;
    void Finish() override;

private:
    NewFile m_file;
    cdb_make m_make = {};
    bool m_finished = false;
};

} // namespace kwlookup
