// SPDX-License-Identifier: MIT
#include "lookup/builtin/KeyIndex.h"

#include <boost/container/small_vector.hpp>

#include <algorithm>
#include <array>
#include <functional>

template <typename Use>
[[gnu::always_inline]] inline auto KeyIndex::WithFold(const Use& use) const {
    return m_bytes.UpperIsAscii() ? use(AsciiUpper()) : use(TableUpper{m_bytes.UpperTable()});
}

/// Takes the keys of one search, and keeps the first string of each that is there.
class KeyIndex::Candidates final : public KwFinderKeys {
public:
    explicit Candidates(const KeyIndex& index)
        : KwFinderKeys(index.m_longest, index.m_deepest), m_index(index) {}

    /// The string next in order, or 0.
    std::uint32_t Next() {
        if (m_ranks.empty())
            return 0;
        if (m_ranks.size() > 1)
            std::pop_heap(m_ranks.begin(), m_ranks.end(), std::greater<>());
        const std::uint32_t rank = m_ranks.back();
        const std::uint32_t next = m_index.m_next.empty() ? 0 : m_index.m_next[rank - 1];
        if (next == 0) {
            m_ranks.pop_back();
        } else {
            m_ranks.back() = next;
            std::push_heap(m_ranks.begin(), m_ranks.end(), std::greater<>());
        }
        return rank;
    }

private:
    void Take(std::string_view key) override {
        const std::uint32_t rank = m_index.FirstRank(key);
        // A finder may name a key twice.
        if (rank == 0 || std::find(m_ranks.begin(), m_ranks.end(), rank) != m_ranks.end())
            return;
        m_ranks.push_back(rank);
        std::push_heap(m_ranks.begin(), m_ranks.end(), std::greater<>());
    }

    const KeyIndex& m_index;
    /// A heap, the least on top. An address has rarely more keys on a list.
    boost::container::small_vector<std::uint32_t, 16> m_ranks;
};

/// Takes the keys of several searches to come, and keeps where to look for them.
class KeyIndex::Places final : public KwFinderKeys {
public:
    explicit Places(const KeyIndex& index)
        : KwFinderKeys(index.m_longest, index.m_deepest), m_index(index) {}

    /// Now that the slots are here, brings the strings.
    void FetchStrings() {
        std::size_t found = 0;
        for (std::size_t i = 0; i < m_count; ++i)
            if (const std::uint32_t rank = RankAt(m_places[i])) {
                const std::string& text = m_index.TextAt(rank);
                Prefetch(&text);
                m_texts[found++] = &text;
            }
        for (std::size_t i = 0; i < found; ++i)
            Prefetch(m_texts[i]->data());
        m_count = 0;
    }

private:
    struct Place {
        std::size_t place;
        std::uint32_t tag;
    };

    void Take(std::string_view key) override {
        if (m_count == m_places.size() || !m_index.HoldsSize(key.size()))
            return;
        const std::uint64_t hash = m_index.HashOf(key);
        if (!m_index.m_filter.MayHold(hash))
            return;
        const std::size_t place = PlaceOf(hash, m_index.m_slots.size());
        Prefetch(&m_index.m_slots[place]);
        m_places[m_count++] = {place, static_cast<std::uint32_t>(hash)};
    }

    std::uint32_t RankAt(const Place& wanted) const {
        const std::vector<Slot>& slots = m_index.m_slots;
        for (std::size_t place = wanted.place; slots[place].rank != 0;) {
            if (slots[place].tag == wanted.tag)
                return slots[place].rank;
            if (++place == slots.size())
                place = 0;
        }
        return 0;
    }

    static constexpr std::size_t AT_ONCE = 64; // about two for each of the finders of a batch

    const KeyIndex& m_index;
    std::array<Place, AT_ONCE> m_places;
    std::array<const std::string*, AT_ONCE> m_texts;
    std::size_t m_count = 0;
};

KeyIndex::KeyIndex(const std::vector<std::string>& strings, const SortedOrder* order,
                   KwKeyedFinder::KeyPart part, const LocaleBytes& bytes)
    : m_strings(strings), m_order(order), m_part(part), m_bytes(bytes),
      m_usable(part == KwKeyedFinder::WHOLE_VALUE || bytes.UpperKeepsMarks()),
      m_seed(HashSeed::Random()), m_filter(m_usable ? strings.size() : 0) {
    if (!m_usable)
        return;
    // 14.5 bytes a string: full enough to be small, empty enough to end a search in one line.
    const std::size_t slots = strings.size() * 29 / 16 + 1;
    m_slots.reserve(slots);
    AdviseHugePages(m_slots.data(), slots * sizeof(Slot));
    m_slots.resize(slots);
    WithFold([&](const auto& fold) { InsertAll(fold); });
}

std::string_view KeyIndex::PartOf(std::string_view text) const {
    if (m_part == KwKeyedFinder::WHOLE_VALUE)
        return text;
    const char* begin = text.data();
    const char* const end = begin + text.size();
    while (begin != end && m_bytes.IsSpace(*begin))
        ++begin;
    const char* word_end = begin;
    while (word_end != end && !m_bytes.IsSpace(*word_end))
        ++word_end;
    return std::string_view(begin, static_cast<std::size_t>(word_end - begin));
}

template <typename Fold>
void KeyIndex::InsertAll(const Fold& fold) {
    // While one slot is filled, the next ones are on their way: about as many as a processor
    // fetches at once.
    constexpr std::uint32_t AHEAD = 16;
    struct Part {
        std::string_view text;
        std::uint64_t hash;
    };
    std::array<Part, AHEAD> parts;
    const auto fetch = [&](std::uint32_t rank) {
        const std::string_view text = PartOf(TextAt(rank));
        Measure(text);
        const std::uint64_t hash = Hash(fold, text, m_seed);
        parts[rank % AHEAD] = {text, hash};
        Prefetch(&m_slots[PlaceOf(hash, m_slots.size())]);
    };
    // From the last to the first, so that the first of those with one part ends up in the slot.
    const auto count = static_cast<std::uint32_t>(m_strings.size());
    for (std::uint32_t i = 0; i < std::min(AHEAD, count); ++i)
        fetch(count - i);
    for (std::uint32_t rank = count; rank != 0; --rank) {
        const Part part = parts[rank % AHEAD];
        if (rank > AHEAD)
            fetch(rank - AHEAD);
        Slot& slot = m_slots[Probe(fold, part.text, part.hash)];
        if (slot.rank == 0) {
            m_filter.Add(part.hash);
        } else {
            if (m_next.empty())
                m_next.resize(count);
            m_next[rank - 1] = slot.rank;
        }
        slot = {static_cast<std::uint32_t>(part.hash), rank};
    }
}

void KeyIndex::Measure(std::string_view part) {
    if (part.size() >= m_sizes.size())
        m_sizes.resize(part.size() + 1);
    m_sizes[part.size()] = true;
    m_longest = std::max(m_longest, part.size());
    // Dots as keys are compared: in an odd locale other bytes may have the same upper-case form.
    const char dot = m_bytes.Upper('.');
    const auto dots =
        std::count_if(part.begin(), part.end(), [&](char c) { return m_bytes.Upper(c) == dot; });
    m_deepest = std::max(m_deepest, static_cast<std::size_t>(dots));
}

/// The place of `key`, or the free place that it would take.
template <typename Fold>
[[gnu::always_inline]] inline std::size_t KeyIndex::Probe(const Fold& fold, std::string_view key,
                                                          std::uint64_t hash) const {
    const auto tag = static_cast<std::uint32_t>(hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (Slot slot; (slot = m_slots[place]).rank != 0;) {
        if (slot.tag == tag && Equal(fold, key, PartOf(TextAt(slot.rank))))
            break;
        if (++place == m_slots.size())
            place = 0;
    }
    return place;
}

std::uint64_t KeyIndex::HashOf(std::string_view key) const {
    return WithFold([&](const auto& fold) { return Hash(fold, key, m_seed); });
}

std::uint32_t KeyIndex::FirstRank(std::string_view key) const {
    if (!HoldsSize(key.size()))
        return 0;
    return WithFold([&](const auto& fold) -> std::uint32_t {
        const std::uint64_t hash = Hash(fold, key, m_seed);
        return m_filter.MayHold(hash) ? m_slots[Probe(fold, key, hash)].rank : 0;
    });
}

KeyIndex::Answer KeyIndex::Find(const KwLookupFinder& finder, const KeySource& source,
                                const std::string*& found) const {
    Candidates candidates(*this);
    if (!source.GetKeys(candidates))
        return Answer::Unknown;
    while (const std::uint32_t rank = candidates.Next()) {
        found = &TextAt(rank);
        if (finder.Match(*found))
            return Answer::Match;
        if (source.IsDone())
            break;
    }
    return Answer::NoMatch;
}

void KeyIndex::Fetch(const KwLookupFinder* const* finders, std::size_t count) const {
    Places places(*this);
    for (std::size_t i = 0; i < count; ++i)
        if (finders[i])
            if (const KeySource source(*finders[i]); source && source.GetKeyPart() == m_part)
                source.GetKeys(places);
    places.FetchStrings();
}
