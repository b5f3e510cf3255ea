// SPDX-License-Identifier: MIT
#include "lookup/builtin/TextIndex.h"

#include <algorithm>
#include <array>

namespace kwlookup {

namespace {

std::string_view TextOf(TextSlot slot) {
    return slot.IsLong() ? std::string_view(slot.GetHolder()) : slot.GetText();
}

} // namespace

template <typename Use>
[[gnu::always_inline]] inline auto TextIndex::WithFold(const Use& use) const {
    if (!m_nocase)
        return use(AsTheyAre());
    return m_ascii_upper ? use(AsciiUpper()) : use(TableUpper{m_upper, m_ranges});
}

TextIndex::TextIndex(const std::vector<std::string>& strings, const LocaleBytes* nocase,
                     const SortedOrder* order)
    : m_nocase(nocase != nullptr), m_ascii_upper(nocase && nocase->UpperIsAscii()),
      m_seed(HashSeed::Random()), m_filter(strings.size()) {
    if (nocase) {
        m_upper = nocase->GetUpperTable();
        m_ranges = nocase->GetUpperRanges();
    }
    // 14.5 bytes a string: small, and empty enough that most searches end within one cache line.
    const std::size_t slots = strings.size() * 29 / 16 + 1;
    m_slots.reserve(slots);
    AdviseHugePages(m_slots.data(), slots * sizeof(TextSlot));
    m_slots.resize(slots);
    WithFold([&](const auto& fold) { InsertAll(fold, strings, order); });
}

template <typename Fold>
void TextIndex::InsertAll(const Fold& fold, const std::vector<std::string>& strings,
                          const SortedOrder* order) {
    const auto text_at = [&](std::size_t i) -> const std::string& {
        return strings[order ? order->Get()[i] : i];
    };
    // Slots are fetched this far ahead, which is about as many as a processor fetches at once.
    constexpr std::size_t AHEAD = 16;
    std::array<std::uint64_t, AHEAD> hashes;
    const auto fetch = [&](std::size_t i) {
        if (strings.size() - i > 2 * AHEAD)
            Prefetch(text_at(i + 2 * AHEAD).data());
        if (!m_nocase)
            m_ascii &= kwlookup::IsAscii(text_at(i));
        hashes[i % AHEAD] = Hash(fold, text_at(i), m_seed);
        Prefetch(&m_slots[PlaceOf(hashes[i % AHEAD], m_slots.size())]);
    };
    const std::size_t count = strings.size();
    for (std::size_t i = 0; i < std::min(AHEAD, count); ++i)
        fetch(i);
    for (std::size_t i = 0; i < count && m_ascii; ++i) {
        const std::string& text = text_at(i);
        const std::uint64_t hash = hashes[i % AHEAD];
        if (i + AHEAD < count)
            fetch(i + AHEAD);
        TextSlot& slot = m_slots[Probe(fold, text, hash)];
        if (slot.IsFree()) {
            slot = TextSlot(text, text, TextSlot::KeyOf(text, hash));
            m_unfit |= slot.IsFree();
            m_filter.Add(hash);
        } else if (TextOf(slot) != text) {
            m_ambiguous = true;
        }
    }
}

/// Returns the position of `text`, or the free position for it.
template <typename Fold>
[[gnu::always_inline]] inline std::size_t TextIndex::Probe(const Fold& fold, std::string_view text,
                                                           std::uint64_t hash) const {
    const TextSlot::Key key = TextSlot::KeyOf(text, hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (TextSlot slot; !(slot = m_slots[place]).IsFree();) {
        if (slot.HasKey(key) && Equal(fold, text, TextOf(slot)))
            break;
        if (++place == m_slots.size())
            place = 0;
    }
    return place;
}

std::string_view TextIndex::Find(std::string_view text) const {
    return WithFold([&](const auto& fold) {
        const std::uint64_t hash = Hash(fold, text, m_seed);
        // Fetch the slot while the filter is tested.
        Prefetch(&m_slots[PlaceOf(hash, m_slots.size())]);
        if (!m_filter.MayHold(hash))
            return std::string_view();
        const TextSlot slot = m_slots[Probe(fold, text, hash)];
        return slot.IsFree() ? std::string_view() : TextOf(slot);
    });
}

void TextIndex::Fetch(const std::string_view* texts, std::size_t count) const {
    // Fetch the filter for several texts, then their slots, then their strings, so that each step
    // waits for all of them at once.
    constexpr std::size_t AT_ONCE = 32;
    struct Question {
        std::uint64_t hash;
        TextSlot::Key key;
    };
    std::array<Question, AT_ONCE> questions;
    for (std::size_t begin = 0; begin < count; begin += AT_ONCE) {
        const std::size_t size = std::min(AT_ONCE, count - begin);
        for (std::size_t i = 0; i < size; ++i) {
            const std::string_view text = texts[begin + i];
            const std::uint64_t hash =
                WithFold([&](const auto& fold) { return Hash(fold, text, m_seed); });
            m_filter.Fetch(hash);
            questions[i] = {hash, TextSlot::KeyOf(text, hash)};
        }
        std::size_t asked = 0;
        for (std::size_t i = 0; i < size; ++i) {
            if (!m_filter.MayHold(questions[i].hash))
                continue;
            Prefetch(&m_slots[PlaceOf(questions[i].hash, m_slots.size())]);
            questions[asked++] = questions[i];
        }
        for (std::size_t i = 0; i < asked; ++i) {
            std::size_t place = PlaceOf(questions[i].hash, m_slots.size());
            for (TextSlot slot; !(slot = m_slots[place]).IsFree();) {
                if (slot.HasKey(questions[i].key)) {
                    Prefetch(slot.GetAddress());
                    break;
                }
                if (++place == m_slots.size())
                    place = 0;
            }
        }
    }
}

} // namespace kwlookup
