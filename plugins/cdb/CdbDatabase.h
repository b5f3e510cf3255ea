// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"
#include "lookup/config/Values.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kwlookup {

/// An open cdb file. The library of the format maps what it searches, so it only hashes here.
///
/// Threads: one at a time.
class CdbDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is no cdb, or not a whole
    /// one.
    explicit CdbDatabase(const std::string& name);

    /// True while the name stands for the file as it was when it was opened. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return m_file->IsCurrent(); }

    /// Adds the value of the first record with this key to `values`, or of each, in the order of
    /// the file; false when there is none. Throws std::runtime_error "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    struct Table {
        std::uint32_t begin;
        std::uint32_t slots;
    };

    [[noreturn]] void Fail() const;
    const char* Read(std::uint64_t offset, std::size_t length);
    bool AddIfEqual(std::uint64_t record, std::string_view key, Values& values);

    const std::shared_ptr<const FileBytes> m_file;
    std::array<Table, 256> m_tables;
    std::uint64_t m_data_end; ///< of the records; the tables follow
    std::string m_buffer;
};

} // namespace kwlookup
