// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/FileBytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kwlookup {

/// One page of a Berkeley DB file. No operation reads outside the page, whatever the page holds. On
/// damage they throw std::runtime_error "NAME: not a valid Berkeley DB file".
///
/// Threads: one at a time.
class BerkeleyPage {
public:
    /// What the first page says about all pages.
    struct Format {
        const FileBytes* file; ///< outlives the page
        std::uint32_t size;
        bool swapped; ///< the file has the other byte order
        bool checksums;
    };

    /// The types of pages that a search may reach, with their numbers in the file.
    enum Type : std::uint8_t {
        HashUnsorted = 2, ///< of older releases
        TreeInner = 3,
        NumberedInner = 4, ///< of the values of one key, in the order of their insertion
        TreeLeaf = 5,
        NumberedLeaf = 6,
        OverflowPart = 7, ///< of a key or a value that is too long for a page
        SortedValues = 12,
        Hash = 13
    };

    /// A key, or the values or the child page of one.
    struct Item {
        enum Kind { Bytes, OverflowChain, ValueList, ValueTree };
        Kind kind;
        bool deleted;
        std::string_view bytes; ///< of Bytes, and of the ValueList
        std::uint32_t page;     ///< the first one of the chain, the root of the tree
        std::uint32_t length;   ///< of all bytes of the chain
        std::size_t used;       ///< bytes of this page
    };

    static constexpr std::size_t HEADER_BYTES = 26;

    /// Convert a number of the file. `bytes` has the size of `Number`.
    template <typename Number>
    static Number ToNumber(std::string_view bytes, bool swapped) {
        char ordered[sizeof(Number)] = {};
        bytes.copy(ordered, sizeof(ordered));
        if (swapped)
            std::reverse(ordered, ordered + sizeof(ordered));
        Number number;
        std::memcpy(&number, ordered, sizeof(number));
        return number;
    }

    /// The checksum of a page that stores it at `at`.
    static std::uint32_t Checksum(std::string_view page, std::size_t at);

    explicit BerkeleyPage(const Format& format) : m_format(format) {}

    /// Read page `number` without checking it.
    void Read(std::uint32_t number);

    /// Check the number of the page, its checksum, the order of its items, and that they fill the
    /// space they should fill.
    void Check() const;

    /// True if the page has its own number.
    bool IsInPlace() const { return Get<std::uint32_t>(8) == m_number; }
    bool IsZero() const { return m_bytes.find_first_not_of('\0') == std::string_view::npos; }
    std::uint32_t GetNumber() const { return m_number; }
    std::uint32_t GetPrevious() const { return Get<std::uint32_t>(12); }
    std::uint32_t GetNext() const { return Get<std::uint32_t>(16); }
    unsigned GetCount() const { return Get<std::uint16_t>(20); }
    unsigned GetLevel() const { return Get<std::uint8_t>(24); }
    Type GetType() const { return Type(Get<std::uint8_t>(25)); }
    bool IsHash() const { return GetType() == Hash || GetType() == HashUnsorted; }
    bool IsInner() const { return GetType() == TreeInner || GetType() == NumberedInner; }

    /// Where item `i` begins. Several items of a leaf may share one key.
    std::size_t GetBegin(unsigned i) const;
    Item GetItem(unsigned i) const;
    /// The page below item `i` of an inner page.
    std::uint32_t GetChild(unsigned i) const;
    /// The part of a long key or value that is on this page.
    std::string_view GetOverflow() const;

    [[noreturn]] void Fail() const;

private:
    template <typename Number>
    Number Get(std::size_t offset) const {
        return ToNumber<Number>(Bytes(offset, sizeof(Number)), m_format.swapped);
    }
    std::string_view Bytes(std::size_t offset, std::size_t length) const;
    std::size_t GetDataBegin() const {
        return m_format.checksums ? HEADER_BYTES + 6 : HEADER_BYTES;
    }
    std::size_t GetFreeEnd() const;
    Item TreeItem(std::size_t begin, std::size_t header) const;
    Item HashItem(std::size_t begin, std::size_t end) const;
    void CheckOrder(unsigned first, unsigned step) const;

    Format m_format;
    std::uint32_t m_number = 0;
    std::string_view m_bytes;
    std::string m_buffer;
};

} // namespace kwlookup
