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

/// An open cdb file. The library of the format is used only to hash keys, because it maps the files
/// that it searches.
///
/// Threads: one at a time.
class CdbDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON". REASON is "not a valid cdb file" for a file that
    /// is incomplete or not a cdb.
    explicit CdbDatabase(const std::string& name);

    /// True while the name still names this file and the file is unchanged. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return m_file->IsCurrent(); }

    /// Add the value of the first record with this key to `values`, or with `all` the values of all
    /// such records, in the order of the file. False if there is none. Throws std::runtime_error
    /// "NAME: REASON".
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
    std::uint64_t m_data_end; ///< the end of the records; the tables follow
    std::string m_buffer;
};

} // namespace kwlookup
