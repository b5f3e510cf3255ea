// SPDX-License-Identifier: MIT
#include "plugins/lmdb/LmdbDatabase.h"

#include <stdexcept>

namespace kwlookup {

namespace {

// Positions in the first two pages, by the format. Transactions write them in turns.
constexpr std::size_t HEAD_BYTES = 152;
constexpr std::size_t MAGIC_AT = 16;
constexpr std::size_t VERSION_AT = 20;
constexpr std::size_t PAGE_SIZE_AT = 40;
constexpr std::size_t FLAGS_AT = 92;
constexpr std::size_t ROOT_AT = 128;
constexpr std::size_t TRANSACTION_AT = 144;

constexpr std::uint32_t MAGIC = 0xBEEFC0DE;
constexpr std::uint32_t VERSION = 1;

// Flags of a database that does not order its keys by their bytes.
constexpr std::uint16_t REVERSE_KEYS = 0x02;
constexpr std::uint16_t NUMBER_KEYS = 0x08;

/// The root of a tree without records.
constexpr std::uint64_t NO_PAGE = UINT64_MAX;

/// A record with a tree of values has the description of that tree. This is the place of the root.
constexpr std::size_t TREE_BYTES = 48;
constexpr std::size_t TREE_ROOT_AT = 40;

/// The maximum depth of a tree in the format.
constexpr std::size_t MOST_LEVELS = 32;

/// How often a search starts again after a transaction, which takes longer than a search.
constexpr int TRIES = 100;

constexpr char NOT_WHOLE[] = "not a valid LMDB file";

} // namespace

LmdbDatabase::LmdbDatabase(const std::string& name)
    : m_file(FileBytes::Open(name)), m_page_size(ReadPageSize()), m_head(ReadHead()),
      m_checked(m_file->IsCopy() ? m_file->GetSize() / m_page_size : 0) {}

std::size_t LmdbDatabase::ReadPageSize() const {
    std::string buffer;
    const std::string_view head = m_file->Read(0, HEAD_BYTES, buffer);
    if (head.size() != HEAD_BYTES ||
        LmdbPage::ToNumber<std::uint32_t>(head.substr(MAGIC_AT, 4)) != MAGIC)
        Fail(NOT_WHOLE);
    if (LmdbPage::ToNumber<std::uint32_t>(head.substr(VERSION_AT, 4)) != VERSION)
        Fail("an LMDB file of another version");
    const auto size = LmdbPage::ToNumber<std::uint32_t>(head.substr(PAGE_SIZE_AT, 4));
    if (size < 512 || size > 0x8000 || (size & (size - 1)) != 0)
        Fail(NOT_WHOLE);
    return size;
}

LmdbDatabase::Head LmdbDatabase::ReadHead() const {
    Head last;
    std::string buffer;
    for (const std::size_t page : {0, 1}) {
        const std::string_view head = m_file->Read(page * m_page_size, HEAD_BYTES, buffer);
        if (head.size() != HEAD_BYTES ||
            LmdbPage::ToNumber<std::uint64_t>(head.substr(0, 8)) != page ||
            LmdbPage::ToNumber<std::uint32_t>(head.substr(MAGIC_AT, 4)) != MAGIC ||
            LmdbPage::ToNumber<std::uint32_t>(head.substr(VERSION_AT, 4)) != VERSION)
            Fail(NOT_WHOLE);
        const auto transaction = LmdbPage::ToNumber<std::uint64_t>(head.substr(TRANSACTION_AT, 8));
        if (page == 0 || transaction > last.transaction)
            last = {transaction, LmdbPage::ToNumber<std::uint16_t>(head.substr(FLAGS_AT, 2)),
                    LmdbPage::ToNumber<std::uint64_t>(head.substr(ROOT_AT, 8))};
    }
    if (last.flags & (REVERSE_KEYS | NUMBER_KEYS))
        Fail("the keys are not in the order of their bytes");
    return last;
}

bool LmdbDatabase::Find(std::string_view key, bool all, Values& values) {
    for (int i = 0; i < TRIES; ++i) {
        if (m_file->IsCopy())
            return FindOnce(m_head.root, key, all, values);
        const Head head = ReadHead();
        std::string result;
        Values found_here(values.IsWanted() ? &result : nullptr);
        std::string reason;
        bool found = false;
        try {
            found = FindOnce(head.root, key, all, found_here);
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
        if (ReadHead().transaction != head.transaction)
            continue;
        if (reason.empty()) {
            values.Add(result);
            return found;
        }
        if (m_file->IsCurrent())
            throw std::runtime_error(reason);
        *this = LmdbDatabase(m_file->GetName()); // the file may have grown
    }
    Fail("written to while it was read");
}

bool LmdbDatabase::FindOnce(std::uint64_t root, std::string_view key, bool all, Values& values) {
    if (root == NO_PAGE)
        return false;
    // The pages above say that the keys of the page are at least `from` and less than `before`.
    std::string_view from, before;
    bool has_from = false, has_before = false;
    std::uint64_t number = root;
    for (std::size_t depth = 0; depth < MOST_LEVELS; ++depth) {
        LmdbPage& page = PageAt(depth);
        Read(page, number);
        const unsigned count = page.GetCount();
        const bool inner = page.IsInner();
        // Find the first greater key. The first key of an inner page is less than any other.
        unsigned begin = inner ? 1 : 0, end = count;
        while (begin < end) {
            const unsigned middle = begin + (end - begin) / 2;
            const LmdbPage::Node node = page.GetNode(middle);
            const int order = key.compare(node.key);
            if (order == 0 && !inner) {
                AddValues(node, all, values);
                return true;
            }
            if (order < 0)
                end = middle;
            else
                begin = middle + 1;
        }
        if (!inner) {
            // Otherwise a damaged page above led to the wrong leaf.
            if ((has_from && page.GetNode(0).key.compare(from) < 0) ||
                (has_before && page.GetNode(count - 1).key.compare(before) >= 0))
                page.Fail();
            return false;
        }
        const LmdbPage::Node child = page.GetNode(begin - 1);
        if (begin > 1) {
            from = child.key;
            has_from = true;
        }
        if (begin < count) {
            before = page.GetNode(begin).key;
            has_before = true;
        }
        number = child.page;
    }
    Fail(NOT_WHOLE);
}

void LmdbDatabase::AddValues(const LmdbPage::Node& node, bool all, Values& values) {
    const auto number = [&](std::size_t at) {
        return LmdbPage::ToNumber<std::uint64_t>(node.data.substr(at, 8));
    };
    if (node.flags & LmdbPage::SEVERAL_VALUES) {
        if (node.flags & LmdbPage::TREE) {
            if (node.data.size() != TREE_BYTES)
                Fail(NOT_WHOLE);
            std::uint64_t pages = 0;
            AddTree(number(TREE_ROOT_AT), 0, all, pages, values);
            return;
        }
        LmdbPage inside(*m_file, m_page_size);
        inside.Take(node.data);
        if (inside.GetCount() == 0)
            Fail(NOT_WHOLE);
        for (unsigned i = 0; i < (all ? inside.GetCount() : 1); ++i)
            values.Add(inside.GetNode(i).key);
    } else if (node.flags & LmdbPage::TREE) {
        Fail("the key is that of a database of its own");
    } else if (node.flags & LmdbPage::LONG_VALUE) {
        LmdbPage first(*m_file, m_page_size);
        first.Read(number(0));
        values.Add(first.GetLong(node.length, m_long));
    } else {
        values.Add(node.data);
    }
}

/// Add the values of a key that has too many of them for one page.
void LmdbDatabase::AddTree(std::uint64_t root, unsigned depth, bool all, std::uint64_t& pages,
                           Values& values) {
    // A damaged tree may contain the same page twice.
    if (depth == MOST_LEVELS || ++pages > m_file->GetSize() / m_page_size)
        Fail(NOT_WHOLE);
    LmdbPage page(*m_file, m_page_size);
    Read(page, root);
    for (unsigned i = 0; i < page.GetCount(); ++i) {
        const LmdbPage::Node node = page.GetNode(i);
        if (page.IsInner())
            AddTree(node.page, depth + 1, all, pages, values);
        else
            values.Add(node.key);
        if (!all)
            break;
    }
}

// Pages of a file in memory are checked only once.
void LmdbDatabase::Read(LmdbPage& page, std::uint64_t number) {
    page.Read(number);
    if (m_file->IsCopy() && m_checked[number])
        return;
    page.Check();
    if (m_file->IsCopy())
        m_checked[number] = true;
}

LmdbPage& LmdbDatabase::PageAt(std::size_t depth) {
    if (depth == m_path.size())
        m_path.push_back(std::make_unique<LmdbPage>(*m_file, m_page_size));
    return *m_path[depth];
}

void LmdbDatabase::Fail(const char* reason) const {
    throw std::runtime_error(m_file->GetName() + ": " + reason);
}

} // namespace kwlookup
