// SPDX-License-Identifier: MIT
#include "plugins/lmdb/LmdbPage.h"

#include <stdexcept>

namespace kwlookup {

namespace {

/// Before the key of a record: the value's length in two parts, flags, the key's length.
constexpr std::size_t NODE_HEADER_BYTES = 8;

/// In place of a long value, a record has the number of its first page.
constexpr std::size_t PAGE_NUMBER_BYTES = 8;

} // namespace

void LmdbPage::Read(std::uint64_t number) {
    if (number >= m_file->GetSize() / m_size)
        Fail();
    m_number = number;
    m_bytes = m_file->Read(number * m_size, m_size, m_buffer);
    if (m_bytes.size() != m_size || Get<std::uint64_t>(0) != number)
        Fail();
    m_count = 0;
    if ((Flags() & LONG) == 0)
        Count();
}

void LmdbPage::Take(std::string_view bytes) {
    m_bytes = bytes;
    if ((Flags() & INSIDE) == 0 || (Flags() & LEAF) == 0)
        Fail();
    Count();
}

/// Count the records. The header has the end of the table of their positions.
void LmdbPage::Count() {
    const std::uint16_t end = Get<std::uint16_t>(12);
    const bool is_tree = (Flags() & INNER) != 0 || (Flags() & LEAF) != 0;
    if (!is_tree || end < HEADER_BYTES || end > m_bytes.size() || end % 2 != 0)
        Fail();
    m_count = static_cast<unsigned>(end - HEADER_BYTES) / 2;
}

LmdbPage::Node LmdbPage::GetNode(unsigned i) const {
    const std::uint16_t flags = Flags();
    if (i >= m_count)
        Fail();
    if (flags & SAME_LENGTH) {
        const std::size_t length = Get<std::uint16_t>(8);
        return {0, Bytes(HEADER_BYTES + i * length, length), {}, 0, 0};
    }
    const std::size_t begin = Get<std::uint16_t>(HEADER_BYTES + 2 * i);
    if (begin < HEADER_BYTES + 2 * std::size_t(m_count))
        Fail();
    const std::string_view header = Bytes(begin, NODE_HEADER_BYTES);
    const auto low = ToNumber<std::uint16_t>(header.substr(0, 2));
    const auto high = ToNumber<std::uint16_t>(header.substr(2, 2));
    const auto node_flags = ToNumber<std::uint16_t>(header.substr(4, 2));
    const std::size_t key_length = ToNumber<std::uint16_t>(header.substr(6, 2));
    const std::uint32_t length = low | std::uint32_t(high) << 16;
    Node node{node_flags, Bytes(begin + NODE_HEADER_BYTES, key_length), {}, length, 0};
    if (flags & INNER) {
        node.flags = 0;
        node.page = length | std::uint64_t(node_flags) << 32;
        return node;
    }
    node.data = Bytes(begin + NODE_HEADER_BYTES + key_length,
                      node_flags & LONG_VALUE ? PAGE_NUMBER_BYTES : length);
    return node;
}

void LmdbPage::Check() const {
    if (m_count == 0)
        Fail();
    std::string_view last;
    for (unsigned i = 0; i < m_count; ++i) {
        const std::string_view key = GetNode(i).key;
        // The first key of an inner page stands for all keys less than the second.
        const unsigned first = IsInner() ? 1 : 0;
        if (i > first && last.compare(key) >= 0)
            Fail();
        last = key;
    }
}

std::string_view LmdbPage::GetLong(std::uint32_t length, std::string& buffer) const {
    if ((Flags() & LONG) == 0 ||
        Get<std::uint32_t>(12) < (HEADER_BYTES + std::uint64_t(length) + m_size - 1) / m_size ||
        length > m_file->GetSize())
        Fail();
    const std::string_view value = m_file->Read(m_number * m_size + HEADER_BYTES, length, buffer);
    if (value.size() != length)
        Fail();
    return value;
}

void LmdbPage::Fail() const {
    throw std::runtime_error(m_file->GetName() + ": not a valid LMDB file");
}

} // namespace kwlookup
