// SPDX-License-Identifier: MIT
#include "plugins/rfile/LiteralIndex.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <utility>

namespace kwlookup {

namespace {

/// At least so many slots for each entry, so that at most one position in so many is a false hit.
constexpr std::size_t SLOTS_PER_ENTRY = 16;
/// 16 slots of the bitmap share a group of entries, so that a group has about one entry.
constexpr unsigned GROUP_SHIFT = 4;
/// Pieces are counted by this many bits of their hash, enough to tell common ones from rare ones.
constexpr unsigned FREQUENCY_BITS = 16;

std::uint32_t Hash(std::uint32_t value) {
    return value * 0x9e3779b1u;
}

using Counts = std::unordered_map<std::string_view, std::size_t>;

/// The set whose literals occur in the fewest patterns, which is probably the rarest in texts too.
const LiteralSet& RarestSet(const std::vector<LiteralSet>& sets, const Counts& counts) {
    const auto cost = [&](const LiteralSet& set) {
        std::size_t patterns = 0;
        std::size_t shortest = set.front().size();
        for (const std::string& literal : set) {
            patterns += counts.at(literal);
            shortest = std::min(shortest, literal.size());
        }
        return std::make_pair(patterns, ~shortest);
    };
    return *std::min_element(
        sets.begin(), sets.end(),
        [&](const LiteralSet& a, const LiteralSet& b) { return cost(a) < cost(b); });
}

} // namespace

std::uint32_t LiteralIndex::Pieces::ValueAt(const char* text) const {
    const auto byte = [&](int i) { return std::uint32_t(static_cast<unsigned char>(text[i])); };
    const std::uint32_t three = byte(0) | byte(1) << 8 | byte(2) << 16;
    return m_length == 3 ? three : three | byte(3) << 24;
}

std::uint32_t LiteralIndex::Pieces::Slot(std::uint32_t value) const {
    return Hash(value) >> m_shift;
}

void LiteralIndex::Pieces::Build() {
    if (m_entries.empty())
        return;
    unsigned bits = 10; // 128 bytes, two lines of the cache: a smaller bitmap would not be faster
    while ((std::size_t(1) << bits) < m_entries.size() * SLOTS_PER_ENTRY)
        ++bits;
    m_shift = 32 - bits;
    std::sort(m_entries.begin(), m_entries.end(), [&](const Entry& a, const Entry& b) {
        return std::make_pair(Slot(a.value), a.literal) < std::make_pair(Slot(b.value), b.literal);
    });
    m_entries.shrink_to_fit();
    m_bitmap.assign((std::size_t(1) << bits) / 64, 0);
    m_first_entry.assign((std::size_t(1) << (bits - GROUP_SHIFT)) + 1, 0);
    for (const Entry& entry : m_entries) {
        const std::uint32_t slot = Slot(entry.value);
        m_bitmap[slot / 64] |= std::uint64_t(1) << slot % 64;
        ++m_first_entry[(slot >> GROUP_SHIFT) + 1];
    }
    for (std::size_t i = 1; i < m_first_entry.size(); ++i)
        m_first_entry[i] += m_first_entry[i - 1];
}

template <typename Found>
void LiteralIndex::Pieces::Scan(std::string_view text, Found found) const {
    if (m_entries.empty() || text.size() < m_length)
        return;
    const std::size_t places = text.size() - m_length + 1;
    for (std::size_t i = 0; i < places; ++i) {
        const std::uint32_t value = ValueAt(text.data() + i);
        const std::uint32_t slot = Slot(value);
        if (!(m_bitmap[slot / 64] >> slot % 64 & 1))
            continue;
        const std::uint32_t group = slot >> GROUP_SHIFT;
        for (std::uint32_t e = m_first_entry[group]; e < m_first_entry[group + 1]; ++e)
            if (m_entries[e].value == value)
                found(i, m_entries[e].literal);
    }
}

void LiteralIndex::Add(std::uint32_t pattern, std::vector<LiteralSet> sets) {
    m_requirements.push_back({pattern, std::move(sets)});
}

void LiteralIndex::Build() {
    Counts counts;
    for (const Requirement& requirement : m_requirements)
        for (const LiteralSet& set : requirement.sets)
            for (const std::string& literal : set)
                ++counts[literal];

    std::vector<std::pair<std::string_view, std::uint32_t>> uses;
    for (const Requirement& requirement : m_requirements)
        for (const std::string& literal : RarestSet(requirement.sets, counts))
            uses.emplace_back(literal, requirement.pattern);
    std::sort(uses.begin(), uses.end());
    uses.erase(std::unique(uses.begin(), uses.end()), uses.end());

    std::vector<std::uint32_t> frequency(std::size_t(1) << FREQUENCY_BITS);
    for (std::size_t i = 0; i < uses.size(); ++i) {
        const std::string_view literal = uses[i].first;
        if (i > 0 && uses[i - 1].first == literal)
            continue;
        for (std::size_t k = 0; k + m_long_pieces.GetLength() <= literal.size(); ++k)
            ++frequency[Hash(m_long_pieces.ValueAt(literal.data() + k)) >> (32 - FREQUENCY_BITS)];
    }

    for (std::size_t i = 0; i < uses.size(); ++i) {
        if (i == 0 || uses[i - 1].first != uses[i].first)
            AddLiteral(std::string(uses[i].first), frequency);
        m_patterns.push_back(uses[i].second);
    }
    const auto end = static_cast<std::uint32_t>(m_text.size());
    m_literals.push_back({end, 0, 0, static_cast<std::uint32_t>(m_patterns.size())});
    m_long_pieces.Build();
    m_short_pieces.Build();
    m_requirements = std::vector<Requirement>();
}

void LiteralIndex::AddLiteral(const std::string& text,
                              const std::vector<std::uint32_t>& frequency) {
    Literal literal{static_cast<std::uint32_t>(m_text.size()),
                    static_cast<std::uint32_t>(text.size()), 0,
                    static_cast<std::uint32_t>(m_patterns.size())};
    Pieces& pieces = text.size() < m_long_pieces.GetLength() ? m_short_pieces : m_long_pieces;
    const auto count = [&](std::size_t place) {
        return frequency[Hash(pieces.ValueAt(text.data() + place)) >> (32 - FREQUENCY_BITS)];
    };
    for (std::uint32_t place = 1; place + pieces.GetLength() <= text.size(); ++place)
        if (count(place) < count(literal.piece))
            literal.piece = place;
    pieces.Add(pieces.ValueAt(text.data() + literal.piece),
               static_cast<std::uint32_t>(m_literals.size()));
    m_text += text;
    m_literals.push_back(literal);
}

void LiteralIndex::Search(std::string_view text, std::vector<std::uint32_t>& found) const {
    found.clear();
    const auto compare = [&](std::size_t place, std::uint32_t number) {
        const Literal& literal = m_literals[number];
        if (place < literal.piece || place - literal.piece + literal.size > text.size() ||
            std::memcmp(text.data() + place - literal.piece, m_text.data() + literal.begin,
                        literal.size) != 0)
            return;
        for (std::uint32_t i = literal.first_pattern; i < m_literals[number + 1].first_pattern; ++i)
            found.push_back(m_patterns[i]);
    };
    m_long_pieces.Scan(text, compare);
    m_short_pieces.Scan(text, compare);
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
}

} // namespace kwlookup
