// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/rfile/RequiredLiterals.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Finds, in one pass over a text, the patterns whose required literals the text contains.
///
/// A table has the rarest piece of each literal: 4 bytes, or 3 of a literal of 3 bytes. At each
/// position of the text, a bitmap shows whether the bytes there may be such a piece. Only then are
/// the literals compared.
///
/// Cost of a search: 1 to 2 ns a byte, and about 10 ns for each literal found. Memory: about 40
/// bytes a literal, in addition to its text.
/// Threads: any number may search once Build() has returned.
class LiteralIndex {
public:
    /// Add a pattern that matches only texts with a literal of each of `sets`. `sets` is not empty.
    void Add(std::uint32_t pattern, std::vector<LiteralSet> sets);

    /// Call once, after the last Add().
    void Build();

    /// Set `found` to the patterns that may match `text`, in ascending order and without
    /// duplicates. `text` is in lower case and followed by PADDING readable bytes.
    void Search(std::string_view text, std::vector<std::uint32_t>& found) const;

    /// Four bytes are read at each position, even at the end of the text.
    static constexpr std::size_t PADDING = 4;

private:
    /// The positions of a literal, its piece and its patterns.
    struct Literal {
        std::uint32_t begin; ///< in m_text
        std::uint32_t size;
        std::uint32_t piece;         ///< the start of the piece within the literal
        std::uint32_t first_pattern; ///< in m_patterns; the next literal's is the end
    };

    /// The pieces of one length.
    class Pieces {
    public:
        explicit Pieces(std::size_t length) : m_length(length) {}

        std::size_t GetLength() const { return m_length; }
        /// The value of the piece at `text`, which has 4 readable bytes.
        std::uint32_t ValueAt(const char* text) const;

        void Add(std::uint32_t value, std::uint32_t literal) {
            m_entries.push_back({value, literal});
        }
        void Build();

        /// Call `found(place, literal)` for each piece of a literal in `text`.
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
        std::vector<std::uint32_t> m_first_entry; ///< of each group of slots, and the end
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
