// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kwlookup {

/// One page of an LMDB file, or the small page inside a record that holds the values of its key.
/// No operation reads outside of the page, whatever it holds; what does not fit throws
/// std::runtime_error "NAME: not a valid LMDB file".
///
/// Threads: one at a time.
class LmdbPage {
public:
    /// A record of a leaf, or the entry of an inner page.
    struct Node {
        std::uint16_t flags;
        std::string_view key;
        std::string_view data; ///< what the page has of the value
        std::uint32_t length;  ///< of the value
        std::uint64_t page;    ///< below the entry of an inner page
    };

    // Flags of records.
    static constexpr std::uint16_t LONG_VALUE = 0x01; ///< on pages of its own
    static constexpr std::uint16_t TREE = 0x02;
    static constexpr std::uint16_t SEVERAL_VALUES = 0x04;

    static constexpr std::size_t HEADER_BYTES = 16;

    /// A number of the file, in the byte order of this machine.
    template <typename Number>
    static Number ToNumber(std::string_view bytes) {
        Number number = 0;
        std::memcpy(&number, bytes.data(),
                    sizeof(number) < bytes.size() ? sizeof(number) : bytes.size());
        return number;
    }

    /// Pages of `size` bytes of `file`, which outlives this.
    LmdbPage(const FileBytes& file, std::size_t size) : m_file(&file), m_size(size) {}

    /// Reads page `number`, and looks whether it says that it is that page.
    void Read(std::uint64_t number);

    /// Takes `bytes`, which outlive this, for a page inside a record.
    void Take(std::string_view bytes);

    /// Looks at all of a page of a tree: whether its records are inside of it, and their order.
    void Check() const;

    bool IsInner() const { return (Flags() & INNER) != 0; }
    unsigned GetCount() const { return m_count; }
    Node GetNode(unsigned i) const;

    /// The value of a long record, which begins on this page.
    std::string_view GetLong(std::uint32_t length, std::string& buffer) const;

    [[noreturn]] void Fail() const;

private:
    // Flags of pages.
    static constexpr std::uint16_t INNER = 0x01;
    static constexpr std::uint16_t LEAF = 0x02;
    static constexpr std::uint16_t LONG = 0x04;
    static constexpr std::uint16_t SAME_LENGTH = 0x20; ///< values, without anything between
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
