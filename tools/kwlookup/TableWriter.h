// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace kwlookup {

/// Writes a database file in place of another one; see NewFile. All operations throw
/// std::runtime_error "NAME: REASON".
class TableWriter {
public:
    virtual ~TableWriter() = default;

    virtual void Add(std::string_view key, std::string_view value) = 0;

    /// Writes the file to the disk, and renames it to its final name. Otherwise the destructor
    /// removes the file.
    virtual void Finish() = 0;
};

/// Make a writer of a cdb file. Throws std::runtime_error if the tool was built without the
/// library.
std::unique_ptr<TableWriter> MakeCdbWriter(const std::string& name);

/// Make a writer of an LMDB file. With `all_values` a key may have several values, which are
/// sorted. Throws std::runtime_error if the tool was built without the library.
std::unique_ptr<TableWriter> MakeLmdbWriter(const std::string& name, bool all_values);

} // namespace kwlookup
