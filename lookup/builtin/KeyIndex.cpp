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

/// Takes the keys of one search, or of several to come.
class KeyIndex::Keys final : public KwFinderKeys {
public:
    struct Key {
        std::string_view text;
        std::uint64_t hash;
    };

    explicit Keys(const KeyIndex& index) : KwFinderKeys(index.m_sizes), m_index(index) {}

    /// Drops most of the keys that are not there, and brings the slots of the others.
    void Sift() {
        const auto end = std::remove_if(m_keys.begin(), m_keys.end(), [this](const Key& key) {
            if (!m_index.m_filter.MayHold(key.hash))
                return true;
            Prefetch(&m_index.m_slots[PlaceOf(key.hash, m_index.m_slots.size())]);
            return false;
        });
        m_keys.erase(end, m_keys.end());
    }

    auto begin() const { return m_keys.begin(); }
    auto end() const { return m_keys.end(); }

private:
    void Take(std::string_view key) override {
        if (!m_index.HoldsSize(key.size()))
            return;
        const std::uint64_t hash =
            m_index.WithFold([&](const auto& fold) { return Hash(fold, key, m_index.m_seed); });
        m_index.m_filter.Fetch(hash);
        m_keys.push_back({key, hash});
    }

    const KeyIndex& m_index;
    boost::container::small_vector<Key, 64> m_keys; ///< an address has rarely more than ten
};

/// The strings with one of the keys of a search.
class KeyIndex::Candidates {
public:
    Candidates(const KeyIndex& index, const Keys& keys) : m_index(index) {
        for (const Keys::Key& key : keys) {
            const std::size_t place = index.WithFold(
                [&](const auto& fold) { return index.Probe(fold, key.text, key.hash); });
            const std::uint32_t rank = index.m_slots[place].Rank();
            // A finder may name a key twice.
            if (rank != 0 && std::find(m_ranks.begin(), m_ranks.end(), rank) == m_ranks.end())
                Push(rank);
        }
    }

    /// The rank of the string next in order, or 0.
    std::uint32_t Next() {
        if (m_ranks.empty())
            return 0;
        std::pop_heap(m_ranks.begin(), m_ranks.end(), std::greater<>());
        const std::uint32_t rank = m_ranks.back();
        m_ranks.pop_back();
        if (!m_index.m_next.empty() && m_index.m_next[rank - 1] != 0)
            Push(m_index.m_next[rank - 1]);
        return rank;
    }

private:
    void Push(std::uint32_t rank) {
        m_ranks.push_back(rank);
        std::push_heap(m_ranks.begin(), m_ranks.end(), std::greater<>());
    }

    const KeyIndex& m_index;
    /// The next string of each key, as a heap with the first on top.
    boost::container::small_vector<std::uint32_t, 16> m_ranks;
};

KeyIndex::KeyIndex(const std::vector<std::string>& strings, const SortedOrder* order,
                   KwKeyedFinder::KeyPart part, const LocaleBytes& bytes)
    : m_strings(strings), m_order(order), m_part(part), m_bytes(bytes),
      m_usable(part == KwKeyedFinder::WHOLE_VALUE || bytes.UpperKeepsMarks()),
      m_seed(HashSeed::Random()), m_filter(m_usable ? strings.size() : 0) {
    if (!m_usable)
        return;
    // 18 bytes a string: full enough to be small, empty enough to end a search in one line.
    const std::size_t slots = strings.size() * 3 / 2 + 1;
    m_slots.reserve(slots);
    AdviseHugePages(m_slots.data(), slots * sizeof(Slot));
    m_slots.resize(slots);
    WithFold([&](const auto& fold) { InsertAll(fold); });
    SortSizes();
}

void KeyIndex::NoteSize(std::size_t size) {
    if (size < m_has_size.size())
        m_has_size[size] = true;
    else if (m_sizes.empty() || m_sizes.back() != size)
        m_sizes.push_back(size);
}

void KeyIndex::SortSizes() {
    for (std::size_t size = 0; size < m_has_size.size(); ++size)
        if (m_has_size[size])
            m_sizes.push_back(size);
    std::sort(m_sizes.begin(), m_sizes.end());
    m_sizes.erase(std::unique(m_sizes.begin(), m_sizes.end()), m_sizes.end());
    m_sizes.shrink_to_fit();
}

std::string_view KeyIndex::PartOf(std::string_view text) const {
    if (m_part == KwKeyedFinder::WHOLE_VALUE)
        return text;
    const char* begin = text.data();
    const char* const end = begin + text.size();
    while (begin != end && m_bytes.IsSpace(*begin))
        ++begin;
    return std::string_view(begin, static_cast<std::size_t>(m_bytes.FindSpace(begin, end) - begin));
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
        NoteSize(text.size());
        const std::uint64_t hash = Hash(fold, text, m_seed);
        parts[rank % AHEAD] = {text, hash};
        m_filter.Fetch(hash);
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
        TextSlot text = slot.Text();
        if (text.IsFree()) {
            text = TextSlot(part.text, TextAt(rank), TextSlot::KeyOf(part.text, part.hash));
            m_usable &= !text.IsFree();
            m_filter.Add(part.hash);
        } else {
            if (m_next.empty())
                m_next.resize(count);
            m_next[rank - 1] = slot.Rank();
        }
        slot = Slot(text, rank);
    }
}

/// The place of `key`, or the free place that it would take.
template <typename Fold>
[[gnu::always_inline]] inline std::size_t KeyIndex::Probe(const Fold& fold, std::string_view key,
                                                          std::uint64_t hash) const {
    const TextSlot::Key slot_key = TextSlot::KeyOf(key, hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (TextSlot text; !(text = m_slots[place].Text()).IsFree();) {
        if (text.HasKey(slot_key)) {
            Prefetch(&TextAt(m_slots[place].Rank())); // Match() will be asked for it
            if (Equal(fold, key, PartAt(text)))
                break;
        }
        if (++place == m_slots.size())
            place = 0;
    }
    return place;
}

KeyIndex::Answer KeyIndex::Find(const KwLookupFinder& finder, const KeySource& source,
                                const std::string*& found) const {
    Keys keys(*this);
    if (!source.GetKeys(keys))
        return Answer::Unknown;
    keys.Sift();
    Candidates candidates(*this, keys);
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
    Keys keys(*this);
    for (std::size_t i = 0; i < count; ++i)
        if (finders[i])
            if (const KeySource source(*finders[i]); source && source.GetKeyPart() == m_part)
                source.GetKeys(keys);
    keys.Sift();
    for (const Keys::Key& key : keys) {
        const TextSlot::Key slot_key = TextSlot::KeyOf(key.text, key.hash);
        std::size_t place = PlaceOf(key.hash, m_slots.size());
        for (TextSlot text; !(text = m_slots[place].Text()).IsFree();) {
            if (text.HasKey(slot_key)) {
                Prefetch(text.Address());
                Prefetch(&TextAt(m_slots[place].Rank()));
                break;
            }
            if (++place == m_slots.size())
                place = 0;
        }
    }
}
