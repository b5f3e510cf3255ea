// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kwlookup {

/// One page of an LMDB file, or the small page inside a record with the values of its key.
///
/// No operation reads outside the page, whatever the page contains. An invalid page makes them
/// throw std::runtime_error "NAME: not a valid LMDB file".
///
/// Threads: one at a time.
class LmdbPage {
public:
    /// A record of a leaf, or the entry of an inner page.
    struct Node {
        std::uint16_t flags;
        std::string_view key;
        std::string_view data; ///< the value, or the page number of a long one
        std::uint32_t length;  ///< of the value
        std::uint64_t page;    ///< the child of an entry of an inner page
    };

    // Flags of records.
    static constexpr std::uint16_t LONG_VALUE = 0x01; ///< the value has pages of its own
    static constexpr std::uint16_t TREE = 0x02;
    static constexpr std::uint16_t SEVERAL_VALUES = 0x04;

    static constexpr std::size_t HEADER_BYTES = 16;

    /// A number in the byte order of this machine, which is that of the file.
    template <typename Number>
    static Number ToNumber(std::string_view bytes) {
        Number number = 0;
        std::memcpy(&number, bytes.data(),
                    sizeof(number) < bytes.size() ? sizeof(number) : bytes.size());
        return number;
    }

    /// For pages of `size` bytes of `file`, which must outlive the page.
    LmdbPage(const FileBytes& file, std::size_t size) : m_file(&file), m_size(size) {}

    /// Read page `number`, and check that the page has that number.
    void Read(std::uint64_t number);

    /// Use `bytes` as a page inside a record. They must outlive the page.
    void Take(std::string_view bytes);

    /// Check all of a page of a tree: the bounds of its records, and their order.
    void Check() const;

    bool IsInner() const { return (Flags() & INNER) != 0; }
    unsigned GetCount() const { return m_count; }
    Node GetNode(unsigned i) const;

    /// The long value that begins on this page.
    std::string_view GetLong(std::uint32_t length, std::string& buffer) const;

    [[noreturn]] void Fail() const;

private:
    // Flags of pages.
    static constexpr std::uint16_t INNER = 0x01;
    static constexpr std::uint16_t LEAF = 0x02;
    static constexpr std::uint16_t LONG = 0x04;
    static constexpr std::uint16_t SAME_LENGTH = 0x20; ///< values only, all of the same length
    static constexpr std::uint16_t INSIDE = 0x40;

    template <typename Number>
    Number Get(std::size_t offset) const {
        return ToNumber<Number>(Bytes(offset, sizeof(Number)));
    }
    std::string_view Bytes(std::size_t offset, std::size_t length) const {
        if (offset > m_bytes.size() || length > m_bytes.size() - offset)
            Fail();
        return m_bytes.substr(offset, length);
    }
    std::uint16_t Flags() const { return Get<std::uint16_t>(10); }
    void Count();

    const FileBytes* m_file;
    std::size_t m_size;
    std::uint64_t m_number = 0;
    unsigned m_count = 0;
    std::string_view m_bytes;
    std::string m_buffer;
};

} // namespace kwlookup
