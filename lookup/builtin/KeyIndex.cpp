// SPDX-License-Identifier: MIT
#include "lookup/builtin/KeyIndex.h"

#include <boost/container/small_vector.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>

namespace kwlookup {

template <typename Use>
[[gnu::always_inline]] inline auto KeyIndex::WithFold(const Use& use) const {
    return m_bytes.UpperIsAscii()
               ? use(AsciiUpper())
               : use(TableUpper{m_bytes.GetUpperTable(), m_bytes.GetUpperRanges()});
}

namespace {

/// Keys from this size on are not compared before Match(), which compares too and is never wrong.
/// It is slower for short texts only.
constexpr std::size_t LONG_KEY = 1024;

} // namespace

/// Collects the keys of one search, or of several searches to fetch for.
class KeyIndex::Keys final : public FinderKeys {
public:
    explicit Keys(const KeyIndex& index)
        : FinderKeys(index.m_shapes.GetSizes(), index.m_shapes.GetMostDots(),
                     index.m_shapes.AllHaveAt()),
          m_index(index) {}

    /// Drops most of the keys that are not in the index, and loads the slots of the others into the
    /// cache.
    void Sift() {
        const auto end = std::remove_if(m_keys.begin(), m_keys.end(),
                                        [this](const Key& key) { return !m_index.MayHold(key); });
        m_keys.erase(end, m_keys.end());
    }

    std::size_t size() const { return m_keys.size(); }
    const Key* begin() const { return m_keys.data(); }
    const Key* end() const { return m_keys.data() + m_keys.size(); }

private:
    void Take(std::string_view key) override { TakeFirstWord(key, std::string_view()); }

    void TakeWholeValue(std::string_view value) override {
        if (value.size() > m_index.m_longest_string)
            return;
        const std::string_view word = m_index.PartOf(value);
        TakeFirstWord(word, word.size() == value.size() ? std::string_view() : value);
    }

    void TakeFirstWord(std::string_view word, std::string_view value) {
        if (m_index.m_shapes.MayHold(word, m_index.m_bytes))
            AddKey(word, value);
    }

    /// Not inlined, because most keys do not come here.
    [[gnu::noinline]] void AddKey(std::string_view word, std::string_view value) {
        const std::uint64_t hash = m_index.WithFold(
            [&](const auto& fold) { return Hash(fold, word, m_index.m_seed, m_hashed); });
        m_index.m_filter.Fetch(hash);
        m_keys.push_back({word, hash, value});
    }

    const KeyIndex& m_index;
    HashedEnding m_hashed; ///< of the last key, which is often the end of the next one
    boost::container::small_vector<Key, 64> m_keys; ///< an address rarely has more than ten
};

/// The strings that have one of the keys of a search, in order.
class KeyIndex::Candidates {
public:
    Candidates(const KeyIndex& index, const Key* begin, const Key* end) {
        for (const Key* key = begin; key != end; ++key)
            if (!key->whole_value.data() || !AddWholeValue(index, *key))
                Add(index, key->text, key->hash);
    }

    /// Returns the next string, or null.
    const std::string* Next() {
        while (!m_heap.empty()) {
            std::pop_heap(m_heap.begin(), m_heap.end(), ComesLater);
            const Candidate candidate = m_heap.back();
            m_heap.pop_back();
            const KeyIndex& index = *candidate.index;
            if (candidate.key.data() && candidate.key.size() < LONG_KEY &&
                !index.WithFold([&](const auto& fold) {
                    return index.IsPartAt(fold, candidate.text, candidate.key);
                }))
                continue;
            const std::uint32_t rank = candidate.rank;
            if (!index.m_next.empty() && index.m_next[rank - 1] != 0)
                Push({index.m_next[rank - 1], &index, TextSlot(), std::string_view()});
            if (rank != m_last) { // a finder may name a key twice
                m_last = rank;
                return &index.TextAt(rank);
            }
        }
        return nullptr;
    }

private:
    struct Candidate {
        std::uint32_t rank;
        const KeyIndex* index;
        TextSlot text;
        std::string_view key; ///< to be compared with `text`; its data() is null after that
    };

    static bool ComesLater(const Candidate& left, const Candidate& right) {
        return left.rank > right.rank;
    }

    void Push(const Candidate& candidate) {
        m_heap.push_back(candidate);
        std::push_heap(m_heap.begin(), m_heap.end(), ComesLater);
    }

    /// Does not compare the texts yet, because the first string that matches ends the search.
    void Add(const KeyIndex& index, std::string_view key, std::uint64_t hash) {
        index.ForEachLike(key, hash, [&](const Slot& slot) {
            Prefetch(&index.TextAt(slot.GetRank())); // for Match()
            Push({slot.GetRank(), &index, slot.GetText(), key});
        });
    }

    /// Returns false when few strings have the first word, so that Match() can be called for all.
    bool AddWholeValue(const KeyIndex& index, const Key& key) {
        const std::size_t place =
            index.WithFold([&](const auto& fold) { return index.Probe(fold, key.text, key.hash); });
        if (!index.AreMany(index.m_slots[place].GetRank()))
            return false;
        const KeyIndex* const whole_values = index.GetWholeValues();
        if (!whole_values)
            return false;
        if (whole_values->m_shapes.MayHold(key.whole_value, index.m_bytes)) {
            const std::uint64_t hash = index.WithFold([&](const auto& fold) {
                return Hash(fold, key.whole_value, whole_values->m_seed);
            });
            if (whole_values->m_filter.MayHold(hash))
                Add(*whole_values, key.whole_value, hash);
        }
        return true;
    }

    boost::container::small_vector<Candidate, 16> m_heap; ///< the next in order is on top
    std::uint32_t m_last = 0;
};

KeyIndex::KeyIndex(const std::vector<std::string>& strings, const SortedOrder* order,
                   KeyedFinder::KeyPart part, const LocaleBytes& bytes)
    : m_strings(strings), m_order(order), m_part(part), m_bytes(bytes),
      m_usable(part == KeyedFinder::WholeValue || bytes.UpperKeepsMarks()),
      m_seed(HashSeed::Random()), m_filter(m_usable ? strings.size() : 0) {
    if (!m_usable)
        return;
    // 18 bytes a string: small, and empty enough that most searches end within one cache line.
    const std::size_t slots = strings.size() * 3 / 2 + 1;
    m_slots.reserve(slots);
    AdviseHugePages(m_slots.data(), slots * sizeof(Slot));
    m_slots.resize(slots);
    WithFold([&](const auto& fold) { InsertAll(fold); });
    m_shapes.Finish(m_bytes);
}

std::string_view KeyIndex::PartOf(std::string_view text) const {
    if (m_part == KeyedFinder::WholeValue)
        return text;
    const char* begin = text.data();
    const char* const end = begin + text.size();
    while (begin != end && m_bytes.IsSpace(*begin))
        ++begin;
    return std::string_view(begin, static_cast<std::size_t>(m_bytes.FindSpace(begin, end) - begin));
}

template <typename Fold>
void KeyIndex::InsertAll(const Fold& fold) {
    // Slots are fetched this far ahead, which is about as many as a processor fetches at once.
    constexpr std::uint32_t AHEAD = 16;
    struct Part {
        std::string_view text;
        std::uint64_t hash;
    };
    std::array<Part, AHEAD> parts;
    const auto fetch = [&](std::uint32_t rank) {
        if (rank > 2 * AHEAD)
            Prefetch(TextAt(rank - 2 * AHEAD).data());
        const std::string& string = TextAt(rank);
        const std::string_view text = PartOf(string);
        m_longest_string = std::max(m_longest_string, string.size());
        m_shapes.Note(text, m_bytes);
        const std::uint64_t hash = Hash(fold, text, m_seed);
        parts[rank % AHEAD] = {text, hash};
        m_filter.Fetch(hash);
        Prefetch(&m_slots[PlaceOf(hash, m_slots.size())]);
    };
    // From the last to the first, so that the slot ends up with the first string of its part.
    const auto count = static_cast<std::uint32_t>(m_strings.size());
    for (std::uint32_t i = 0; i < std::min(AHEAD, count); ++i)
        fetch(count - i);
    for (std::uint32_t rank = count; rank != 0; --rank) {
        const Part part = parts[rank % AHEAD];
        if (rank > AHEAD)
            fetch(rank - AHEAD);
        Slot& slot = m_slots[Probe(fold, part.text, part.hash)];
        TextSlot text = slot.GetText();
        if (text.IsFree()) {
            text = TextSlot(part.text, TextAt(rank), TextSlot::KeyOf(part.text, part.hash));
            m_usable &= !text.IsFree();
            m_filter.Add(part.hash);
        } else {
            if (m_next.empty())
                m_next.resize(count);
            m_next[rank - 1] = slot.GetRank();
        }
        slot = Slot(text, rank);
    }
}

/// Returns true when `key` is the part at `slot`. Under FirstWord, `key` has no white space.
template <typename Fold>
[[gnu::always_inline]] inline bool KeyIndex::IsPartAt(const Fold& fold, TextSlot slot,
                                                      std::string_view key) const {
    if (!slot.IsLong())
        return Equal(fold, key, slot.GetText());
    std::string_view text = slot.GetHolder();
    if (m_part == KeyedFinder::FirstWord) {
        const auto* begin =
            std::find_if(text.begin(), text.end(), [this](char c) { return !m_bytes.IsSpace(c); });
        text.remove_prefix(static_cast<std::size_t>(begin - text.begin()));
        // Find the end of the word without scanning the whole text.
        if (text.size() > key.size() && m_bytes.IsSpace(text[key.size()]))
            text.remove_suffix(text.size() - key.size());
    }
    return Equal(fold, key, text);
}

/// Returns the position of `key`, or the free position for it.
template <typename Fold>
[[gnu::always_inline]] inline std::size_t KeyIndex::Probe(const Fold& fold, std::string_view key,
                                                          std::uint64_t hash) const {
    const TextSlot::Key slot_key = TextSlot::KeyOf(key, hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (TextSlot text; !(text = m_slots[place].GetText()).IsFree();) {
        if (text.HasKey(slot_key) && IsPartAt(fold, text, key))
            break;
        if (++place == m_slots.size())
            place = 0;
    }
    return place;
}

/// Returns false for most keys that are not in the index. Loads the slots of the others into the
/// cache.
[[gnu::always_inline]] inline bool KeyIndex::MayHold(const Key& key) const {
    if (!m_filter.MayHold(key.hash))
        return false;
    // A search goes on to a free slot, on average four slots later and often in the next line.
    constexpr std::size_t FEW = 4;
    const std::size_t place = PlaceOf(key.hash, m_slots.size());
    Prefetch(&m_slots[place]);
    Prefetch(&m_slots[std::min(place + FEW, m_slots.size() - 1)]);
    return true;
}

/// Calls `use` for each slot that may hold `key`, judging by its size and some bits of its hash.
template <typename Use>
[[gnu::always_inline]] inline void KeyIndex::ForEachLike(std::string_view key, std::uint64_t hash,
                                                         const Use& use) const {
    const TextSlot::Key slot_key = TextSlot::KeyOf(key, hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (Slot slot; !(slot = m_slots[place]).GetText().IsFree();) {
        if (slot.GetText().HasKey(slot_key))
            use(slot);
        if (++place == m_slots.size())
            place = 0;
    }
}

/// Returns the first slot for which ForEachLike() would call, or a free one.
[[gnu::always_inline]] inline KeyIndex::Slot KeyIndex::FirstLike(const Key& key) const {
    const TextSlot::Key slot_key = TextSlot::KeyOf(key.text, key.hash);
    std::size_t place = PlaceOf(key.hash, m_slots.size());
    while (!m_slots[place].GetText().IsFree() && !m_slots[place].GetText().HasKey(slot_key))
        if (++place == m_slots.size())
            place = 0;
    return m_slots[place];
}

/// Returns true when many strings have the same part as the one at `rank`. 0 stands for no string.
bool KeyIndex::AreMany(std::uint32_t rank) const {
    constexpr int FEW = 16; // Match() for so many takes about as long as ten searches
    if (m_next.empty())
        return false;
    for (int count = 0; rank != 0; rank = m_next[rank - 1])
        if (++count > FEW)
            return true;
    return false;
}

/// Returns the index of whole values, or null when it cannot be made.
const KeyIndex* KeyIndex::GetWholeValues() const {
    try {
        const KeyIndex& index = m_whole_values.GetOrMake([this] {
            return std::make_unique<const KeyIndex>(m_strings, m_order, KeyedFinder::WholeValue,
                                                    m_bytes);
        });
        return index.m_usable ? &index : nullptr;
    } catch (const std::exception&) {
        return nullptr;
    }
}

KeyIndex::Answer KeyIndex::Find(const KwLookupFinder& finder, const KeySource& source,
                                const std::string*& found) const {
    const FetchedKeys* const fetched = source.GetFetched();
    if (fetched && fetched->AreOf(m_seed.first))
        return Ask(finder, source, fetched->begin(), fetched->end(), found);
    Keys keys(*this);
    if (!source.GetKeys(keys))
        return Answer::Unknown;
    keys.Sift();
    return Ask(finder, source, keys.begin(), keys.end(), found);
}

KeyIndex::Answer KeyIndex::Ask(const KwLookupFinder& finder, const KeySource& source,
                               const Key* begin, const Key* end, const std::string*& found) const {
    if (end - begin == 1 && !begin->whole_value.data() && begin->text.size() < LONG_KEY)
        return AskOne(finder, source, *begin, found);
    Candidates candidates(*this, begin, end);
    while ((found = candidates.Next())) {
        if (finder.Match(*found))
            return Answer::Match;
        if (source.IsDone())
            break;
    }
    return Answer::NoMatch;
}

/// As Ask() for a single short key, which is the usual case.
KeyIndex::Answer KeyIndex::AskOne(const KwLookupFinder& finder, const KeySource& source,
                                  const Key& key, const std::string*& found) const {
    const std::size_t place =
        WithFold([&](const auto& fold) { return Probe(fold, key.text, key.hash); });
    for (std::uint32_t rank = m_slots[place].GetRank(); rank != 0;
         rank = m_next.empty() ? 0 : m_next[rank - 1]) {
        found = &TextAt(rank);
        if (finder.Match(*found))
            return Answer::Match;
        if (source.IsDone())
            break;
    }
    return Answer::NoMatch;
}

void KeyIndex::Fetch(const KwLookupFinder* const* finders, std::size_t count) const {
    // First the filter for the keys of all finders, then the slots, then the strings: each load
    // overlaps with the others of its kind.
    struct Question {
        FetchedKeys* fetched;
        std::size_t begin, end; ///< of its keys
    };
    std::array<Question, AT_ONCE> questions;
    std::size_t asked = 0;
    Keys keys(*this);
    for (std::size_t i = 0; i < count; ++i) {
        if (!finders[i])
            continue;
        const KeySource source(*finders[i]);
        const std::size_t begin = keys.size();
        if (source && source.GetFetched() && source.GetKeyPart() == m_part && source.GetKeys(keys))
            questions[asked++] = {source.GetFetched(), begin, keys.size()};
    }
    for (std::size_t i = 0; i < asked; ++i) {
        const auto [fetched, begin, end] = questions[i];
        fetched->Begin(m_seed.first);
        for (const Key* key = keys.begin() + begin; key != keys.begin() + end; ++key)
            if (MayHold(*key))
                fetched->Add(*key);
    }
    for (std::size_t i = 0; i < asked; ++i)
        for (const Key& key : *questions[i].fetched) {
            const Slot slot = FirstLike(key); // rarely is there another
            if (slot.GetText().IsFree())
                continue;
            Prefetch(slot.GetText().GetAddress());
            Prefetch(&TextAt(slot.GetRank()));
        }
}

} // namespace kwlookup
