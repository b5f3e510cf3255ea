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

std::string_view TextIndex::Find(std::string_view text, const FetchedKeys* fetched) const {
    return WithFold([&](const auto& fold) {
        std::uint64_t hash;
        if (fetched && fetched->AreOf(m_seed.first)) {
            if (fetched->begin() == fetched->end())
                return std::string_view();
            hash = fetched->begin()->hash;
        } else {
            hash = Hash(fold, text, m_seed);
            // Fetch the slot while the filter is tested.
            Prefetch(&m_slots[PlaceOf(hash, m_slots.size())]);
            if (!m_filter.MayHold(hash))
                return std::string_view();
        }
        const TextSlot slot = m_slots[Probe(fold, text, hash)];
        return slot.IsFree() ? std::string_view() : TextOf(slot);
    });
}

void TextIndex::Fetch(const Question* questions, std::size_t count) const {
    // Fetch the filter for several texts, then their slots, then their strings, so that each step
    // waits for all of them at once.
    constexpr std::size_t AT_ONCE = 32;
    struct Asked {
        std::uint64_t hash;
        const Question* question;
    };
    std::array<Asked, AT_ONCE> asked;
    for (; count != 0; questions += std::min(count, AT_ONCE), count -= std::min(count, AT_ONCE)) {
        const std::size_t size = std::min(AT_ONCE, count);
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint64_t hash =
                WithFold([&](const auto& fold) { return Hash(fold, questions[i].text, m_seed); });
            m_filter.Fetch(hash);
            asked[i] = {hash, &questions[i]};
        }
        // Without a branch that half of the texts would take: it cannot be predicted.
        std::size_t held = 0;
        for (std::size_t i = 0; i < size; ++i) {
            if (asked[i].question->fetched)
                asked[i].question->fetched->Begin(m_seed.first);
            asked[held] = asked[i];
            held += m_filter.MayHold(asked[held].hash);
        }
        for (std::size_t i = 0; i < held; ++i) {
            Prefetch(&m_slots[PlaceOf(asked[i].hash, m_slots.size())]);
            if (FetchedKeys* const fetched = asked[i].question->fetched)
                fetched->Add({asked[i].question->text, asked[i].hash, {}});
        }
        for (std::size_t i = 0; i < held; ++i) {
            const TextSlot::Key key = TextSlot::KeyOf(asked[i].question->text, asked[i].hash);
            std::size_t place = PlaceOf(asked[i].hash, m_slots.size());
            for (TextSlot slot; !(slot = m_slots[place]).IsFree();) {
                if (slot.HasKey(key)) {
                    const auto* const begin = static_cast<const char*>(slot.GetAddress());
                    Prefetch(begin);
                    Prefetch(begin + asked[i].question->text.size()); // may be in the next line
                    break;
                }
                if (++place == m_slots.size())
                    place = 0;
            }
        }
    }
}

} // namespace kwlookup
