// SPDX-License-Identifier: MIT
#include "plugins/berkeley/BerkeleyPage.h"

#include <stdexcept>

namespace kwlookup {

namespace {

// The first byte of an item of a hash, the third byte of an item of a tree.
enum HashKind { HashBytes = 1, HashValueList, HashOverflow, HashValueTree };
enum TreeKind { TreeBytes = 1, TreeValueTree, TreeOverflow, TreeDeleted = 0x80 };

// Bytes before the key of an item.
constexpr std::size_t LEAF_ITEM_HEADER = 3;
constexpr std::size_t INNER_ITEM_HEADER = 12;

std::size_t RoundUp(std::size_t size) {
    return (size + 3) & ~std::size_t(3);
}

} // namespace

std::uint32_t BerkeleyPage::Checksum(std::string_view page, std::size_t at) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < page.size(); ++i)
        sum = sum * 33 + (i - at < sizeof(sum) ? 0 : static_cast<unsigned char>(page[i]));
    return sum;
}

void BerkeleyPage::Read(std::uint32_t number) {
    m_number = number;
    m_bytes = m_format.file->Read(std::uint64_t(number) * m_format.size, m_format.size, m_buffer);
    if (m_bytes.size() != m_format.size)
        Fail();
}

void BerkeleyPage::Check() const {
    constexpr std::size_t CHECKSUM_OFFSET = HEADER_BYTES + 2;
    if (!IsInPlace())
        Fail();
    if (m_format.checksums &&
        Get<std::uint32_t>(CHECKSUM_OFFSET) != Checksum(m_bytes, CHECKSUM_OFFSET))
        Fail();
    if (GetType() == OverflowPart) {
        GetOverflow();
        return;
    }
    const bool pairs = IsHash() || GetType() == TreeLeaf;
    if (pairs && GetCount() % 2 != 0)
        Fail();
    std::size_t used = 0;
    for (unsigned i = 0; i < GetCount(); ++i) {
        const bool again =
            GetType() == TreeLeaf && i >= 2 && i % 2 == 0 && GetBegin(i) == GetBegin(i - 2);
        if (!again)
            used += GetItem(i).used;
    }
    if (GetFreeEnd() + used != m_format.size)
        Fail();
    if (GetType() == TreeLeaf)
        CheckOrder(0, 2);
    if (GetType() == TreeInner)
        CheckOrder(1, 1); // the first key counts as less than all others
}

// Keys of another page are not compared.
void BerkeleyPage::CheckOrder(unsigned first, unsigned step) const {
    for (unsigned i = first; i + step < GetCount(); i += step) {
        if (GetBegin(i) == GetBegin(i + step))
            continue;
        const Item item = GetItem(i), next = GetItem(i + step);
        if (item.kind == Item::Bytes && next.kind == Item::Bytes && item.bytes >= next.bytes)
            Fail();
    }
}

std::size_t BerkeleyPage::GetBegin(unsigned i) const {
    if (i >= GetCount())
        Fail();
    const std::size_t begin = Get<std::uint16_t>(GetDataBegin() + 2 * std::size_t(i));
    if (begin < GetDataBegin() + 2 * std::size_t(GetCount()))
        Fail();
    return begin;
}

BerkeleyPage::Item BerkeleyPage::GetItem(unsigned i) const {
    const std::size_t begin = GetBegin(i);
    switch (GetType()) {
    case Hash:
    case HashUnsorted:
        return HashItem(begin, i == 0 ? m_format.size : GetBegin(i - 1));
    case TreeLeaf:
    case SortedValues:
    case NumberedLeaf:
        return TreeItem(begin, LEAF_ITEM_HEADER);
    case TreeInner:
        return TreeItem(begin, INNER_ITEM_HEADER);
    case NumberedInner:
        return {Item::Bytes, false, {}, 0, 0, 8};
    case OverflowPart:
        break;
    }
    Fail();
}

BerkeleyPage::Item BerkeleyPage::TreeItem(std::size_t begin, std::size_t header) const {
    const std::size_t length = Get<std::uint16_t>(begin);
    const unsigned kind = Get<std::uint8_t>(begin + 2);
    const bool deleted = kind & TreeDeleted;
    // On an inner page the chain takes the place of the key.
    const std::size_t chain = header == INNER_ITEM_HEADER ? begin + header : begin;
    const std::size_t chain_used = chain - begin + 12;
    switch (kind & ~unsigned(TreeDeleted)) {
    case TreeBytes:
        return {Item::Bytes, deleted, Bytes(begin + header, length),
                0,           0,       RoundUp(header + length)};
    case TreeValueTree:
        return {Item::ValueTree, deleted, {}, Get<std::uint32_t>(chain + 4), 0, chain_used};
    case TreeOverflow:
        return {Item::OverflowChain,           deleted,   {}, Get<std::uint32_t>(chain + 4),
                Get<std::uint32_t>(chain + 8), chain_used};
    }
    Fail();
}

BerkeleyPage::Item BerkeleyPage::HashItem(std::size_t begin, std::size_t end) const {
    if (begin >= end)
        Fail();
    const std::size_t used = end - begin;
    switch (Get<std::uint8_t>(begin)) {
    case HashBytes:
        return {Item::Bytes, false, Bytes(begin + 1, used - 1), 0, 0, used};
    case HashValueList:
        return {Item::ValueList, false, Bytes(begin + 1, used - 1), 0, 0, used};
    case HashOverflow:
        return {Item::OverflowChain,           false, {}, Get<std::uint32_t>(begin + 4),
                Get<std::uint32_t>(begin + 8), used};
    case HashValueTree:
        return {Item::ValueTree, false, {}, Get<std::uint32_t>(begin + 4), 0, used};
    }
    Fail();
}

std::uint32_t BerkeleyPage::GetChild(unsigned i) const {
    if (!IsInner())
        Fail();
    const std::size_t begin = GetBegin(i);
    return Get<std::uint32_t>(GetType() == NumberedInner ? begin : begin + 4);
}

std::string_view BerkeleyPage::GetOverflow() const {
    if (GetType() != OverflowPart)
        Fail();
    return Bytes(GetDataBegin(), Get<std::uint16_t>(22));
}

// The items follow it, up to the end of the page.
std::size_t BerkeleyPage::GetFreeEnd() const {
    const std::size_t end = Get<std::uint16_t>(22);
    return end == 0 ? 0x10000 : end; // an empty page of 64 KiB
}

void BerkeleyPage::Fail() const {
    throw std::runtime_error(m_format.file->GetName() + ": not a valid Berkeley DB file");
}

std::string_view BerkeleyPage::Bytes(std::size_t offset, std::size_t length) const {
    if (offset > m_bytes.size() || m_bytes.size() - offset < length)
        Fail();
    return m_bytes.substr(offset, length);
}

} // namespace kwlookup
