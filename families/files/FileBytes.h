// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileStamp.h"
#include "text/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kwlookup {

/// The bytes of a file as they were when it was opened. The file is never mapped, because accessing
/// a mapped file that was truncated kills the process.
///
/// A file of up to COPY_LIMIT bytes is copied into memory, so that later writes have no effect. A
/// larger file is read piece by piece, and CheckUnchanged() tells whether the pieces are
/// consistent.
///
/// Threads: any; a file is copied once for all of them.
class FileBytes {
public:
    /// Room for a table of a million addresses in each format. To copy it takes some 50 ms.
    static constexpr std::uint64_t COPY_LIMIT = 128 << 20;

    /// Return the bytes that are open already if the file is unchanged, otherwise open the file.
    /// Throws std::runtime_error "NAME: REASON", also if the file is not a regular file or is
    /// written to meanwhile.
    static std::shared_ptr<const FileBytes> Open(const std::string& name);

    /// True while the name still names this file and the file is unchanged. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsUnchanged(m_stamp); }

    const std::string& GetName() const { return m_name; }
    std::uint64_t GetSize() const { return m_stamp.GetSize(); }
    bool IsCopy() const { return m_copy != nullptr; }

    /// `length` bytes at `offset`, or fewer at the end of the file. They are a view of the copy or
    /// of `buffer`. Throws std::runtime_error "NAME: REASON".
    std::string_view Read(std::uint64_t offset, std::size_t length, std::string& buffer) const;

    /// Throws std::runtime_error "NAME: written to while it was read" if the file has changed since
    /// it was opened and is not copied.
    void CheckUnchanged() const;

private:
    explicit FileBytes(const std::string& name);
    std::size_t ReadFile(std::uint64_t offset, std::size_t length, char* bytes) const;

    const std::string m_name;
    FileDescriptor m_file; ///< closed once there is a copy
    const FileStamp m_stamp;
    std::unique_ptr<char[]> m_copy;
};

} // namespace kwlookup
