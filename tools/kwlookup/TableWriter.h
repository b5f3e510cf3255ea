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

    /// Writes the file to the disk, and gives it its name. Without it nothing is left of the file.
    virtual void Finish() = 0;
};

/// A cdb file. Throws std::runtime_error also in a tool that is built without the library.
std::unique_ptr<TableWriter> MakeCdbWriter(const std::string& name);

/// An LMDB file; with `all_values` its keys may have several values, which it sorts. Throws
/// std::runtime_error also in a tool that is built without the library.
std::unique_ptr<TableWriter> MakeLmdbWriter(const std::string& name, bool all_values);

} // namespace kwlookup
