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

/// The bytes of a file as they were when it was opened. It is never mapped, because a mapped file
/// that is cut short ends the process.
///
/// A file of up to COPY_LIMIT bytes is copied into memory: what is written to it later changes
/// nothing here. A longer one is read as it is asked for, and CheckUnchanged() tells whether what
/// was read belongs together.
///
/// Threads: any; a file is copied once for all of them.
class FileBytes {
public:
    /// A table of a million addresses fits, in each format; to copy it takes some 50 ms.
    static constexpr std::uint64_t COPY_LIMIT = 128 << 20;

    /// Gives the bytes that are open already when the file is still the same. Throws
    /// std::runtime_error "NAME: REASON", also for what is not a regular file, and for a file that
    /// is written to meanwhile.
    static std::shared_ptr<const FileBytes> Open(const std::string& name);

    /// True while the name stands for the file as it was when it was opened. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return FileStamp(m_name).IsUnchanged(m_stamp); }

    const std::string& GetName() const { return m_name; }
    std::uint64_t GetSize() const { return m_stamp.GetSize(); }
    bool IsCopy() const { return m_copy != nullptr; }

    /// `length` bytes at `offset`; fewer where the file ends. They stand in the copy or in
    /// `buffer`. Throws std::runtime_error "NAME: REASON".
    std::string_view Read(std::uint64_t offset, std::size_t length, std::string& buffer) const;

    /// Throws std::runtime_error "NAME: written to while it was read" unless all that was read is
    /// of the file as it was opened.
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
