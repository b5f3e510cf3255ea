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

/// An open LMDB file: its main database.
///
/// The library of the format is not asked. It maps the file, so that one that is cut short ends the
/// process; it believes what stands in a damaged one; and its readers write into a second file,
/// where one that was killed keeps its place.
///
/// A transaction writes no page that the one before it can read. So what is read while the number
/// of the last one stays the same belongs together, without a lock.
///
/// Threads: one at a time.
class LmdbDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is no LMDB database, or whose
    /// keys are in another order than that of their bytes.
    explicit LmdbDatabase(const std::string& name);

    /// True while the name stands for the file as it was when it was opened. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return m_file->IsCurrent(); }

    /// Adds the first value of the record with this key to `values`, or each, in the order of the
    /// file; false when there is none. Throws std::runtime_error "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    /// What the file says of its last transaction.
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
    Head m_head;                                   ///< of a copy
    std::vector<std::unique_ptr<LmdbPage>> m_path; ///< from the root down
    std::vector<bool> m_checked;                   ///< pages of a copy
    std::string m_long;
};

} // namespace kwlookup
