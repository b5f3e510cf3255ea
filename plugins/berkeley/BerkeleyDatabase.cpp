// SPDX-License-Identifier: MIT
#include "plugins/berkeley/BerkeleyDatabase.h"

#include <stdexcept>

namespace kwlookup {

namespace {

// Of the first page of a file.
constexpr std::size_t HEAD_BYTES = 512;
constexpr std::size_t HEAD_CHECKSUM = 492;

constexpr std::uint32_t TREE_MAGIC = 0x053162;
constexpr std::uint32_t HASH_MAGIC = 0x061561;
constexpr std::uint32_t QUEUE_MAGIC = 0x042253;
constexpr std::uint32_t HEAP_MAGIC = 0x074582;

constexpr std::uint8_t HASH_HEAD_TYPE = 8;
constexpr std::uint8_t TREE_HEAD_TYPE = 9;

// Flags of a btree.
constexpr std::uint32_t NUMBERED = 0x02;
constexpr std::uint32_t SEVERAL = 0x20;
constexpr std::uint32_t COMPRESSED = 0x80;

/// FNV-1, which the format has used since its version 5.
std::uint32_t HashOf(std::string_view key) {
    std::uint32_t hash = 0;
    for (const char c : key)
        hash = (hash * 16777619) ^ static_cast<unsigned char>(c);
    return hash;
}

/// The group that `bucket` was made with. Each group doubles the number of buckets.
unsigned GroupOf(std::uint32_t bucket) {
    unsigned group = 0;
    while ((std::uint64_t(1) << group) < std::uint64_t(bucket) + 1)
        ++group;
    return group;
}

} // namespace

BerkeleyDatabase::BerkeleyDatabase(const std::string& name)
    : m_file(FileBytes::Open(name)), m_format(ReadFormat()), m_page(m_format),
      m_value_page(m_format), m_overflow_page(m_format), m_checked(m_file->IsCopy() ? m_pages : 0),
      m_buckets(m_is_hash ? m_checked.size() : 0) {}

BerkeleyPage::Format BerkeleyDatabase::ReadFormat() {
    const auto fail = [this](const char* reason) {
        throw std::runtime_error(m_file->GetName() + ": " + reason);
    };
    constexpr char INVALID[] = "not a valid Berkeley DB file";
    std::string buffer;
    const std::string_view head = m_file->Read(0, HEAD_BYTES, buffer);
    if (head.size() != HEAD_BYTES)
        fail(INVALID);
    bool swapped = false;
    const auto number = [&](std::size_t at) {
        return BerkeleyPage::ToNumber<std::uint32_t>(head.substr(at, 4), swapped);
    };
    const auto is_known = [](std::uint32_t magic) {
        return magic == TREE_MAGIC || magic == HASH_MAGIC || magic == QUEUE_MAGIC ||
               magic == HEAP_MAGIC;
    };
    swapped = !is_known(number(12));
    const std::uint32_t magic = number(12), version = number(16), flags = number(48);
    if (!is_known(magic))
        fail(INVALID);
    m_is_hash = magic == HASH_MAGIC;
    if ((magic != TREE_MAGIC && !m_is_hash) || (!m_is_hash && flags & NUMBERED))
        fail("neither a hash nor a btree");
    if (!m_is_hash && flags & SEVERAL)
        fail("holds several databases");

    const BerkeleyPage::Format format{m_file.get(), number(20), swapped, (head[26] & 1) != 0};
    const bool version_known =
        m_is_hash ? version >= 7 && version <= 9 : version == 8 || version == 9;
    const bool size_known =
        format.size >= 512 && format.size <= 0x10000 && (format.size & (format.size - 1)) == 0;
    const std::uint8_t type = m_is_hash ? HASH_HEAD_TYPE : TREE_HEAD_TYPE;
    const bool encrypted = head[24] != 0, partitioned = (head[26] & ~1) != 0;
    if (!version_known || !size_known || encrypted || partitioned ||
        static_cast<std::uint8_t>(head[25]) != type || number(8) != 0 ||
        (!m_is_hash && flags & COMPRESSED))
        fail(INVALID);
    if (format.checksums && number(HEAD_CHECKSUM) != BerkeleyPage::Checksum(head, HEAD_CHECKSUM))
        fail(INVALID);
    const std::uint64_t pages = std::uint64_t(number(32)) + 1;
    if (pages > m_file->GetSize() / format.size)
        fail(INVALID);
    m_pages = static_cast<std::uint32_t>(pages);
    if (!m_is_hash) {
        m_root = number(88);
        if (number(76) < 2) // the least keys of a page
            fail(INVALID);
        return format;
    }
    m_last_bucket = number(72);
    m_high_mask = number(76);
    m_low_mask = number(80);
    m_keys = number(88);
    for (std::size_t i = 0; i < m_groups.size(); ++i)
        m_groups[i] = number(96 + 4 * i);
    constexpr char KNOWN_KEY[] = "%$sniglet^&"; // the file has its hash, to identify the function
    if ((m_high_mask & (m_high_mask + 1)) != 0 || m_low_mask != m_high_mask >> 1 ||
        m_last_bucket > m_high_mask || (m_last_bucket <= m_low_mask && m_last_bucket != 0) ||
        number(92) != HashOf({KNOWN_KEY, sizeof(KNOWN_KEY)}))
        fail(INVALID);
    return format;
}

bool BerkeleyDatabase::Find(std::string_view key, bool all, Values& values) {
    const bool found = m_is_hash ? FindInHash(key, all, values) : FindInTree(key, all, values);
    m_file->CheckUnchanged();
    return found;
}

bool BerkeleyDatabase::FindInHash(std::string_view key, bool all, Values& values) {
    const std::uint32_t bucket = BucketOf(key);
    if (!ReadBucket(bucket))
        return false;
    for (std::uint32_t i = 0; i < m_pages; ++i) {
        for (unsigned at = 0; at < m_page.GetCount(); at += 2)
            if (KeyBytes(m_page.GetItem(at)) == key)
                return AddValue(m_page, at + 1, all, values);
        const std::uint32_t last = m_page.GetNumber(), next = m_page.GetNext();
        if (next == 0) {
            if ((HashOf(key) & m_high_mask) != bucket)
                CheckUnused(HashOf(key) & m_high_mask);
            return false;
        }
        Read(m_page, next);
        CheckHashPage(bucket, last);
    }
    Fail();
}

std::uint32_t BerkeleyDatabase::BucketOf(std::string_view key) const {
    const std::uint32_t hash = HashOf(key);
    const std::uint32_t bucket = hash & m_high_mask;
    return bucket > m_last_bucket ? hash & m_low_mask : bucket;
}

std::uint64_t BerkeleyDatabase::PageOfBucket(std::uint32_t bucket) const {
    return std::uint64_t(bucket) + m_groups[GroupOf(bucket)];
}

// False for a bucket that was never used: its page was never written and is all zeros. A lost page
// may look the same.
bool BerkeleyDatabase::ReadBucket(std::uint32_t bucket) {
    const std::uint64_t number = PageOfBucket(bucket);
    Read(m_page, number);
    if (m_page.IsZero()) {
        CheckKeyCount();
        return false;
    }
    CheckHashPage(bucket, 0);
    return true;
}

// A key whose own bucket is not made yet is stored in another. If its own bucket has a record, the
// number of buckets is wrong.
void BerkeleyDatabase::CheckUnused(std::uint32_t bucket) {
    const std::uint64_t number = PageOfBucket(bucket);
    if (m_groups[GroupOf(bucket)] == 0 || number >= m_pages)
        return;
    m_page.Read(static_cast<std::uint32_t>(number));
    if (m_page.IsHash() && m_page.IsInPlace() && m_page.GetPrevious() == 0 &&
        m_page.GetCount() > 0 && (HashOf(KeyBytes(m_page.GetItem(0))) & m_high_mask) == bucket)
        Fail();
}

// Programs that lock the file do not update the number, which is too small then.
void BerkeleyDatabase::CheckKeyCount() {
    if (m_counted)
        return;
    std::uint64_t keys = 0;
    for (std::uint32_t number = 1; number < m_pages; ++number) {
        m_page.Read(number);
        if (m_page.IsHash() && m_page.IsInPlace())
            keys += m_page.GetCount() / 2;
    }
    if (keys < m_keys)
        Fail();
    m_counted = true;
}

bool BerkeleyDatabase::FindInTree(std::string_view key, bool all, Values& values) {
    bool leftmost = true, rightmost = true;
    Read(m_page, m_root);
    while (m_page.GetType() == BerkeleyPage::TreeInner) {
        const unsigned level = m_page.GetLevel(), count = m_page.GetCount();
        unsigned child = 0; // becomes the last one whose first key is not greater
        for (unsigned end = count; end - child > 1;) {
            const unsigned middle = child + (end - child) / 2;
            (Compare(key, m_page, middle) < 0 ? end : child) = middle;
        }
        leftmost = leftmost && child == 0;
        rightmost = rightmost && child + 1 == count;
        Read(m_page, m_page.GetChild(child));
        if (m_page.GetLevel() + 1 != level)
            Fail();
    }
    if (m_page.GetType() != BerkeleyPage::TreeLeaf || m_page.GetLevel() != 1)
        Fail();
    const Place place = PlaceOf(key);
    if (!place.found) {
        CheckNeighbours(key, place, leftmost, rightmost);
        return false;
    }
    const std::size_t begin = m_page.GetBegin(place.index);
    bool found = false;
    for (unsigned i = place.index; i < m_page.GetCount() && m_page.GetBegin(i) == begin; i += 2) {
        found |= AddValue(m_page, i + 1, all, values);
        if (found && !all)
            break;
    }
    return found;
}

BerkeleyDatabase::Place BerkeleyDatabase::PlaceOf(std::string_view key) {
    unsigned begin = 0, end = m_page.GetCount() / 2;
    while (begin < end) {
        unsigned middle = begin + (end - begin) / 2;
        const int order = Compare(key, m_page, 2 * middle);
        if (order == 0) {
            while (middle > 0 && m_page.GetBegin(2 * middle) == m_page.GetBegin(2 * middle - 2))
                --middle;
            return {2 * middle, true};
        }
        if (order < 0)
            end = middle;
        else
            begin = middle + 1;
    }
    return {2 * begin, false};
}

// A key that is missing from its leaf is on no other leaf, unless an inner page led to the wrong
// one. Then the key is out of order with the keys of a neighbouring leaf.
void BerkeleyDatabase::CheckNeighbours(std::string_view key, Place place, bool leftmost,
                                       bool rightmost) {
    const std::uint32_t previous = m_page.GetPrevious(), next = m_page.GetNext();
    if (leftmost != (previous == 0) || rightmost != (next == 0))
        Fail();
    BerkeleyPage& beside = m_value_page;
    if (place.index == m_page.GetCount() && next != 0) {
        Read(beside, next);
        if (beside.GetType() != BerkeleyPage::TreeLeaf ||
            beside.GetPrevious() != m_page.GetNumber() ||
            (beside.GetCount() > 0 && Compare(key, beside, 0) >= 0))
            Fail();
    }
    if (place.index == 0 && previous != 0) {
        Read(beside, previous);
        if (beside.GetType() != BerkeleyPage::TreeLeaf || beside.GetNext() != m_page.GetNumber() ||
            (beside.GetCount() > 0 && Compare(key, beside, beside.GetCount() - 2) <= 0))
            Fail();
    }
}

int BerkeleyDatabase::Compare(std::string_view key, const BerkeleyPage& page, unsigned i) {
    return key.compare(KeyBytes(page.GetItem(i)));
}

bool BerkeleyDatabase::AddValue(const BerkeleyPage& page, unsigned i, bool all, Values& values) {
    const BerkeleyPage::Item item = page.GetItem(i);
    if (item.deleted)
        return false;
    switch (item.kind) {
    case BerkeleyPage::Item::Bytes:
        values.Add(item.bytes);
        return true;
    case BerkeleyPage::Item::OverflowChain:
        ReadOverflow(item, m_long_value);
        values.Add(m_long_value);
        return true;
    case BerkeleyPage::Item::ValueList:
        return AddList(item.bytes, all, values);
    case BerkeleyPage::Item::ValueTree:
        if (&page == &m_value_page)
            Fail(); // the format has no trees within trees
        return AddTree(item.page, all, values);
    }
    Fail();
}

// Each value has its length before and after it.
bool BerkeleyDatabase::AddList(std::string_view list, bool all, Values& values) {
    const auto number = [&](std::size_t at) {
        if (at + 2 > list.size())
            Fail();
        return BerkeleyPage::ToNumber<std::uint16_t>(list.substr(at, 2), m_format.swapped);
    };
    bool found = false;
    while (!list.empty() && (all || !found)) {
        const std::size_t length = number(0);
        if (number(2 + length) != length)
            Fail();
        values.Add(list.substr(2, length));
        list.remove_prefix(length + 4);
        found = true;
    }
    return found;
}

// Adds the values of a key that has too many for a page.
bool BerkeleyDatabase::AddTree(std::uint32_t root, bool all, Values& values) {
    BerkeleyPage& page = m_value_page;
    Read(page, root);
    while (page.IsInner()) {
        const unsigned level = page.GetLevel();
        Read(page, page.GetChild(0));
        if (page.GetLevel() + 1 != level)
            Fail();
    }
    bool found = false;
    std::uint32_t previous = 0;
    for (std::uint32_t pages = 0; pages < m_pages; ++pages) {
        if ((page.GetType() != BerkeleyPage::SortedValues &&
             page.GetType() != BerkeleyPage::NumberedLeaf) ||
            page.GetPrevious() != previous)
            Fail();
        for (unsigned i = 0; i < page.GetCount(); ++i) {
            found |= AddValue(page, i, all, values);
            if (found && !all)
                return true;
        }
        if (page.GetNext() == 0)
            return found;
        previous = page.GetNumber();
        Read(page, page.GetNext());
    }
    Fail();
}

// The bytes are valid until the next call.
std::string_view BerkeleyDatabase::KeyBytes(const BerkeleyPage::Item& item) {
    if (item.kind == BerkeleyPage::Item::Bytes)
        return item.bytes;
    if (item.kind != BerkeleyPage::Item::OverflowChain)
        Fail();
    ReadOverflow(item, m_long_key);
    return m_long_key;
}

void BerkeleyDatabase::ReadOverflow(const BerkeleyPage::Item& item, std::string& bytes) {
    bytes.clear();
    if (item.length > m_file->GetSize())
        Fail();
    std::uint32_t number = item.page, previous = 0;
    while (bytes.size() < item.length) {
        Read(m_overflow_page, number);
        const std::string_view part = m_overflow_page.GetOverflow();
        if (m_overflow_page.GetPrevious() != previous || part.empty() ||
            part.size() > item.length - bytes.size())
            Fail();
        bytes += part;
        previous = number;
        number = m_overflow_page.GetNext();
    }
    if (number != 0)
        Fail();
}

// Pages of a copy are checked once, as they cannot change.
void BerkeleyDatabase::Read(BerkeleyPage& page, std::uint64_t number) {
    if (number == 0 || number >= m_pages)
        Fail();
    page.Read(static_cast<std::uint32_t>(number));
    if (page.IsZero() || (m_file->IsCopy() && m_checked[number]))
        return;
    page.Check();
    if (m_file->IsCopy())
        m_checked[number] = true;
}

// All keys on a page of a hash belong to one bucket.
void BerkeleyDatabase::CheckHashPage(std::uint32_t bucket, std::uint32_t previous) {
    if (!m_page.IsHash() || m_page.GetPrevious() != previous)
        Fail();
    const std::uint32_t number = m_page.GetNumber();
    if (m_file->IsCopy() && m_buckets[number] == bucket + 1)
        return;
    for (unsigned i = 0; i < m_page.GetCount(); i += 2)
        if (BucketOf(KeyBytes(m_page.GetItem(i))) != bucket)
            Fail();
    if (m_file->IsCopy())
        m_buckets[number] = bucket + 1;
}

} // namespace kwlookup
