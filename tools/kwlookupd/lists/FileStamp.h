// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// Tells whether a file has changed: its name, and what the system says of it.
struct FileStamp {
    /// Looks at the file `file_name`, which need not exist.
    explicit FileStamp(const std::string& file_name);

    bool operator==(const FileStamp& other) const {
        return name == other.name && state == other.state;
    }

    std::string name;
    /// Device, inode, size and times of the last changes; zeros without a file. The content of a
    /// file can change without its size and within one tick of the clock of its times.
    std::array<std::uint64_t, 7> state{};
};

/// Looks at the files that the items of an object list name and load: those of the types "file" and
/// "rfile". Tables are opened by their plug-ins, which notice new ones. Returns no files if the
/// list cannot be split.
std::vector<FileStamp> StampFiles(const std::string& objects);

} // namespace kwlookup
