// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"
#include "lookup/config/Values.h"
#include "plugins/lmdb/LmdbPage.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The main database of an open LMDB file.
///
/// This class does not use the library of the format. That library maps the file, so that a
/// truncated file ends the process. It trusts a damaged file. Its readers write into a lock file,
/// where a killed reader keeps its slot.
///
/// A transaction overwrites no page that belongs to the one before it. So pages that are read while
/// the number of the last transaction does not change are consistent, without a lock.
///
/// Threads: one at a time.
class LmdbDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is not an LMDB database or
    /// does not order its keys by their bytes.
    explicit LmdbDatabase(const std::string& name);

    /// False if the file was replaced or written to since it was opened. Throws std::runtime_error
    /// "NAME: REASON".
    bool IsCurrent() const { return m_file->IsCurrent(); }

    /// Add the first value of `key` to `values`, or with `all` each one in the order of the file.
    /// False if the key is not found. Throws std::runtime_error "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    /// The last transaction, as one of the first two pages describes it.
    struct Head {
        std::uint64_t transaction = 0;
        std::uint16_t flags = 0;
        std::uint64_t root = 0;
    };

    std::size_t ReadPageSize() const;
    Head ReadHead() const;
    bool FindOnce(std::uint64_t root, std::string_view key, bool all, Values& values);
    void AddValues(const LmdbPage::Node& node, bool all, Values& values);
    void AddTree(std::uint64_t root, unsigned depth, bool all, std::uint64_t& pages,
                 Values& values);
    void Read(LmdbPage& page, std::uint64_t number);
    LmdbPage& PageAt(std::size_t depth);
    [[noreturn]] void Fail(const char* reason) const;

    std::shared_ptr<const FileBytes> m_file;
    std::size_t m_page_size;
    Head m_head;                                   ///< of a file that is copied into memory
    std::vector<std::unique_ptr<LmdbPage>> m_path; ///< from the root down
    std::vector<bool> m_checked; ///< which pages of a file in memory are known to be valid
    std::string m_long;
};

} // namespace kwlookup
