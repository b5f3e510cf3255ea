// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/rfile/RequiredLiterals.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Finds, in one pass over a text, the patterns whose required literals it holds.
///
/// Of each literal one piece of 4 bytes (3 of the shortest ones), the rarest, stands in a table. At
/// each place of the text a bitmap tells whether the bytes there are such a piece; few are, and
/// only then is the literal compared.
///
/// Cost of a search: 1 to 2 ns a byte, about 10 ns for each literal found. Memory: about 40 bytes
/// a literal beside its text.
/// Threads: any number may search once Build() has returned.
class LiteralIndex {
public:
    /// A text can match `pattern` only if it holds a literal of each of `sets`, which is not empty.
    void Add(std::uint32_t pattern, std::vector<LiteralSet> sets);

    /// Call once, after the last Add().
    void Build();

    /// Replaces `found` by the patterns that `text`, lower-cased and followed by PADDING bytes that
    /// may be read, does not rule out: in rising order, each once.
    void Search(std::string_view text, std::vector<std::uint32_t>& found) const;

    /// A piece is read four bytes at a time, also at the end of the text.
    static constexpr std::size_t PADDING = 4;

private:
    /// Where a literal, its piece and its patterns stand.
    struct Literal {
        std::uint32_t begin; ///< in m_text
        std::uint32_t size;
        std::uint32_t piece;         ///< where its piece begins in it
        std::uint32_t first_pattern; ///< in m_patterns, up to that of the next literal
    };

    /// The pieces of one length.
    class Pieces {
    public:
        explicit Pieces(std::size_t length) : m_length(length) {}

        std::size_t GetLength() const { return m_length; }
        /// The value of the piece at `text`, where 4 bytes can be read.
        std::uint32_t ValueAt(const char* text) const;

        void Add(std::uint32_t value, std::uint32_t literal) {
            m_entries.push_back({value, literal});
        }
        void Build();

        /// Calls `found(place, literal)` wherever in `text` the piece of a literal stands.
        template <typename Found>
        void Scan(std::string_view text, Found found) const;

    private:
        struct Entry {
            std::uint32_t value;
            std::uint32_t literal;
        };

        std::uint32_t Slot(std::uint32_t value) const;

        std::size_t m_length;
        unsigned m_shift = 0;
        std::vector<std::uint64_t> m_bitmap;      ///< a bit for each slot
        std::vector<std::uint32_t> m_first_entry; ///< of each group of slots, and an end
        std::vector<Entry> m_entries;             ///< ordered by slot
    };

    struct Requirement {
        std::uint32_t pattern;
        std::vector<LiteralSet> sets;
    };

    void AddLiteral(const std::string& text, const std::vector<std::uint32_t>& frequency);

    std::vector<Requirement> m_requirements; ///< until Build()
    std::string m_text;
    std::vector<Literal> m_literals;
    std::vector<std::uint32_t> m_patterns;
    Pieces m_long_pieces{4};
    Pieces m_short_pieces{3};
};

} // namespace kwlookup
