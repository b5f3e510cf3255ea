// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"
#include "lookup/config/Values.h"
#include "plugins/berkeley/BerkeleyPage.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// An open Berkeley DB file, a hash or a btree.
///
/// Berkeley DB's own library is not used: on a damaged file it may crash, search forever, write, or
/// miss a key, even if its verification finds no damage. Here each page is checked before it is
/// used.
///
/// Threads: one at a time.
class BerkeleyDatabase {
public:
    /// Throws std::runtime_error "NAME: REASON", also for a file that is neither a hash nor a
    /// btree, is incomplete, or holds several databases.
    explicit BerkeleyDatabase(const std::string& name);

    /// True while the name still names this file and the file is unchanged. Throws
    /// std::runtime_error "NAME: REASON".
    bool IsCurrent() const { return m_file->IsCurrent(); }

    /// Add the value of the first record with this key to `values`, or with `all` the values of all
    /// such records, in the order of the file. False if there is none. Throws std::runtime_error
    /// "NAME: REASON".
    bool Find(std::string_view key, bool all, Values& values);

private:
    /// Where a key is on a leaf, or would be.
    struct Place {
        unsigned index;
        bool found;
    };

    BerkeleyPage::Format ReadFormat();
    bool FindInHash(std::string_view key, bool all, Values& values);
    bool FindInTree(std::string_view key, bool all, Values& values);
    std::uint64_t PageOfBucket(std::uint32_t bucket) const;
    std::uint32_t BucketOf(std::string_view key) const;
    bool ReadBucket(std::uint32_t bucket);
    void CheckUnused(std::uint32_t bucket);
    void CheckKeyCount();
    Place PlaceOf(std::string_view key);
    void CheckNeighbours(std::string_view key, Place place, bool leftmost, bool rightmost);
    int Compare(std::string_view key, const BerkeleyPage& page, unsigned i);
    bool AddValue(const BerkeleyPage& page, unsigned i, bool all, Values& values);
    bool AddList(std::string_view list, bool all, Values& values);
    bool AddTree(std::uint32_t root, bool all, Values& values);
    std::string_view KeyBytes(const BerkeleyPage::Item& item);
    void ReadOverflow(const BerkeleyPage::Item& item, std::string& bytes);
    void Read(BerkeleyPage& page, std::uint64_t number);
    void CheckHashPage(std::uint32_t bucket, std::uint32_t previous);
    [[noreturn]] void Fail() const { m_page.Fail(); }

    const std::shared_ptr<const FileBytes> m_file;
    bool m_is_hash = false;
    bool m_counted = false; ///< the number of keys of a hash has been checked
    std::uint32_t m_pages = 0;
    std::uint32_t m_root = 0; ///< of a btree
    std::uint32_t m_last_bucket = 0, m_high_mask = 0, m_low_mask = 0, m_keys = 0;
    std::array<std::uint32_t, 32> m_groups = {}; ///< the first page of each group of buckets
    const BerkeleyPage::Format m_format;
    BerkeleyPage m_page, m_value_page, m_overflow_page;
    std::vector<bool> m_checked;          ///< the pages of a copy that are checked
    std::vector<std::uint32_t> m_buckets; ///< the bucket of each such page plus one; 0 if unknown
    std::string m_long_key, m_long_value;
};

} // namespace kwlookup
