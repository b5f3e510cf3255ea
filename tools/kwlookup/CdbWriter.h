// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <cdb.h>
#include <string>
#include <string_view>

/// Writes a cdb file beside the one that it is to replace, so that no reader ever sees half of it.
/// All operations throw std::runtime_error "NAME: REASON".
///
/// Threads: one.
class CdbWriter {
public:
    /// `name` is the file to make or to replace, whose mode the new one gets; links are followed.
    explicit CdbWriter(const std::string& name);
    /// Without Finish() nothing is left of the new file.
    ~CdbWriter();
    CdbWriter(const CdbWriter&) = delete;
    CdbWriter& operator=(const CdbWriter&) = delete;

    void Add(std::string_view key, std::string_view value);

    /// Writes the file to the disk, and gives it its name.
    void Finish();

private:
    [[noreturn]] void Fail() const;
    void SyncDirectory() const;

    std::string m_name;
    std::string m_new_name;
    FileDescriptor m_file;
    cdb_make m_make = {};
    bool m_finished = false;
};
