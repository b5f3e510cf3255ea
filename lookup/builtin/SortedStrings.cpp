// SPDX-License-Identifier: MIT
#include "lookup/builtin/SortedStrings.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>
#include <sys/mman.h>

namespace {

__extension__ using Uint128 = unsigned __int128;

constexpr std::uint64_t EACH_BYTE = 0x0101010101010101;

std::uint64_t LoadWord(const char* p) {
    std::uint64_t word;
    std::memcpy(&word, p, sizeof(word));
    return word;
}

/// The `size` (1 to 7) bytes from `p`, the rest zero.
std::uint64_t LoadTail(const char* p, std::size_t size) {
    std::uint64_t word = 0;
    if (size >= 4) {
        std::uint32_t low, high;
        std::memcpy(&low, p, 4);
        std::memcpy(&high, p + size - 4, 4);
        word = low | static_cast<std::uint64_t>(high) << (8 * (size - 4));
    } else {
        for (std::size_t i = 0; i < size; ++i)
            word |= static_cast<std::uint64_t>(static_cast<unsigned char>(p[i])) << (8 * i);
    }
    return word;
}

// A fold says of eight bytes at once what they are compared as.

struct AsTheyAre {
    std::uint64_t operator()(std::uint64_t word) const { return word; }
};

/// a to z as A to Z, and no other byte changed.
struct AsciiUpper {
    std::uint64_t operator()(std::uint64_t word) const {
        const std::uint64_t low = word & (0x7f * EACH_BYTE);
        const std::uint64_t from_a = low + (0x80 - 'a') * EACH_BYTE;
        const std::uint64_t past_z = low + (0x7f - 'z') * EACH_BYTE;
        const std::uint64_t letters = (from_a ^ past_z) & ~word & (0x80 * EACH_BYTE);
        return word - (letters >> 2);
    }
};

struct TableUpper {
    const LocaleBytes::Table& table;

    std::uint64_t operator()(std::uint64_t word) const {
        std::uint64_t folded = 0;
        for (int shift = 0; shift < 64; shift += 8) {
            const auto upper = static_cast<unsigned char>(table[(word >> shift) & 0xff]);
            folded |= static_cast<std::uint64_t>(upper) << shift;
        }
        return folded;
    }
};

std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
    const auto product = static_cast<Uint128>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// A search is inlined into one function: the fewer its instructions, the more searches the
// processor has waiting for memory at once.

/// A keyed hash of the folded text. Without the keys nobody can choose texts that collide.
template <typename Fold>
[[gnu::always_inline]] inline std::uint64_t Hash(const Fold& fold, std::string_view text,
                                                 const std::uint64_t (&seed)[2]) {
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    std::uint64_t state = seed[0] ^ text.size();
    std::uint64_t first = 0, last = 0;
    if (text.size() >= 8) {
        const char* p = begin;
        for (; end - p > 16; p += 16)
            state = Mix(fold(LoadWord(p)) ^ seed[1], fold(LoadWord(p + 8)) ^ state);
        first = LoadWord(text.size() < 16 ? begin : end - 16);
        last = LoadWord(end - 8);
    } else if (!text.empty()) {
        first = LoadTail(begin, text.size());
    }
    state = Mix(fold(first) ^ seed[1], fold(last) ^ state);
    return Mix(state ^ seed[1], seed[0]);
}

/// A place among `count`, by the upper bits of a hash.
[[gnu::always_inline]] inline std::size_t PlaceOf(std::uint64_t hash, std::size_t count) {
    return static_cast<Uint128>(hash) * count >> 64;
}

/// Up to four bits of a word, by the lower bits of a hash.
[[gnu::always_inline]] inline std::uint64_t FilterBits(std::uint64_t hash) {
    const auto bit = [hash](int shift) { return std::uint64_t(1) << (hash >> shift & 63); };
    return bit(0) | bit(6) | bit(12) | bit(18);
}

template <typename Fold>
[[gnu::always_inline]] inline bool Equal(const Fold& fold, std::string_view left,
                                         std::string_view right) {
    const std::size_t size = left.size();
    if (size != right.size())
        return false;
    const char* const l = left.data();
    const char* const r = right.data();
    if (size < 8)
        return size == 0 || fold(LoadTail(l, size)) == fold(LoadTail(r, size));
    for (std::size_t i = 0; i < size - 8; i += 8)
        if (fold(LoadWord(l + i)) != fold(LoadWord(r + i)))
            return false;
    return fold(LoadWord(l + size - 8)) == fold(LoadWord(r + size - 8));
}

bool LessBySignedBytes(std::string_view left, std::string_view right) {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char l, char r) { return static_cast<signed char>(l) < static_cast<signed char>(r); });
}

/// Less by upper-case forms, compared as the signed characters that they are.
class LessByUpper {
public:
    explicit LessByUpper(const LocaleBytes::Table& upper) : m_upper(upper) {}

    bool operator()(std::string_view left, std::string_view right) const {
        return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                            [this](char l, char r) { return Up(l) < Up(r); });
    }

private:
    signed char Up(char c) const {
        return static_cast<signed char>(m_upper[static_cast<unsigned char>(c)]);
    }

    const LocaleBytes::Table& m_upper;
};

bool IsAscii(const std::vector<std::string>& strings) {
    for (const std::string& text : strings) {
        unsigned char bits = 0;
        for (char c : text)
            bits |= static_cast<unsigned char>(c);
        if (bits & 0x80)
            return false;
    }
    return true;
}

/// Asks for huge pages, as searches go all over the index. Only a hint, and moot when it is small.
void AdviseHugePages(void* begin, std::size_t size) {
    constexpr std::uintptr_t PAGE = 4096;
    const auto first = (reinterpret_cast<std::uintptr_t>(begin) + PAGE - 1) / PAGE * PAGE;
    const auto last = (reinterpret_cast<std::uintptr_t>(begin) + size) / PAGE * PAGE;
    if (first < last)
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

// A slot of the index says where a text is (48 bits), its size and 8 bits of its hash, so that a
// search finds the text without a look at its std::string, which would cost a cache miss. Texts of
// 255 bytes and more are found through their std::string. A free slot is 0.
using Slot = std::uint64_t;

constexpr std::size_t LONG_TEXT = 255;

/// The lower 16 bits of the slot of a text.
std::uint16_t SlotKey(std::string_view text, std::uint64_t hash) {
    return static_cast<std::uint16_t>(std::min(text.size(), LONG_TEXT) << 8 | (hash & 0xff));
}

/// 0 when the address needs more than 48 bits.
Slot MakeSlot(const std::string& text, std::uint16_t key) {
    const auto address = text.size() < LONG_TEXT ? reinterpret_cast<std::uintptr_t>(text.data())
                                                 : reinterpret_cast<std::uintptr_t>(&text);
    const Slot slot = static_cast<Slot>(address) << 16 | key;
    return slot >> 16 == address ? slot : 0;
}

std::string_view TextOf(Slot slot) {
    const auto address = static_cast<std::uintptr_t>(slot >> 16);
    const std::size_t size = slot >> 8 & 0xff;
    if (size < LONG_TEXT)
        return std::string_view(reinterpret_cast<const char*>(address), size);
    return *reinterpret_cast<const std::string*>(address);
}

} // namespace

SortedStrings::SortedStrings(const std::vector<std::string>& strings)
    : m_strings(strings), m_nocase(false) {
    if (IsAscii(m_strings))
        BuildIndex();
    else
        Order(); // every search needs it
}

SortedStrings::SortedStrings(const std::vector<std::string>& strings, const LocaleBytes& bytes)
    : m_strings(strings), m_nocase(true), m_upper(bytes.UpperTable()),
      m_ascii_upper(bytes.UpperIsAscii()) {
    BuildIndex();
}

SortedStrings::SortedStrings(const std::vector<std::string>& strings, const LocaleBytes& bytes,
                             AsListed)
    : m_strings(strings), m_nocase(true), m_as_listed(true), m_upper(bytes.UpperTable()),
      m_ascii_upper(bytes.UpperIsAscii()) {
    BuildIndex();
}

void SortedStrings::BuildIndex() {
    if (m_strings.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many strings to sort");
    std::random_device random;
    for (std::uint64_t& half : m_seed)
        half = (static_cast<std::uint64_t>(random()) << 32 | random()) | 1;
    const auto insert_all = [this](const std::vector<std::uint32_t>* order) {
        // 14.5 bytes a string: full enough to be small, empty enough to end a search in one line.
        const std::size_t slots = m_strings.size() * 29 / 16 + 1;
        m_filter.assign(m_strings.size() / 8 + 1, 0);
        m_slots.clear();
        m_slots.reserve(slots);
        AdviseHugePages(m_slots.data(), slots * sizeof(Slot));
        m_slots.resize(slots);
        if (m_as_listed)
            m_positions.assign(m_slots.size(), 0);
        if (!m_nocase)
            return InsertAll(AsTheyAre(), order);
        return m_ascii_upper ? InsertAll(AsciiUpper(), order)
                             : InsertAll(TableUpper{m_upper}, order);
    };
    // Where equal strings differ in their bytes, the sort decides which of them is found.
    Inserted inserted = insert_all(nullptr);
    if (inserted == Inserted::Ambiguous && !m_as_listed)
        inserted = insert_all(&Order());
    m_indexed = inserted != Inserted::Unfit;
    if (!m_indexed)
        m_slots = m_filter = std::vector<std::uint64_t>();
}

/// Puts every string into the empty index, in list order or in `order`; of equal ones the first.
template <typename Fold>
SortedStrings::Inserted SortedStrings::InsertAll(const Fold& fold,
                                                 const std::vector<std::uint32_t>* order) {
    const auto text_at = [&](std::size_t i) -> const std::string& {
        return m_strings[order ? (*order)[i] : i];
    };
    // The next slots are on their way from memory while one is filled.
    constexpr std::size_t AHEAD = 16;
    std::array<std::uint64_t, AHEAD> hashes;
    const auto fetch = [&](std::size_t i) {
        hashes[i % AHEAD] = Hash(fold, text_at(i), m_seed);
        __builtin_prefetch(&m_slots[PlaceOf(hashes[i % AHEAD], m_slots.size())], 1);
    };
    Inserted inserted = Inserted::All;
    const std::size_t count = m_strings.size();
    for (std::size_t i = 0; i < std::min(AHEAD, count); ++i)
        fetch(i);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& text = text_at(i);
        const std::uint64_t hash = hashes[i % AHEAD];
        if (i + AHEAD < count)
            fetch(i + AHEAD);
        const std::size_t place = Probe(fold, text, hash);
        Slot& slot = m_slots[place];
        if (slot == 0) {
            slot = MakeSlot(text, SlotKey(text, hash));
            if (slot == 0)
                return Inserted::Unfit;
            if (m_as_listed)
                m_positions[place] = static_cast<std::uint32_t>(i);
            m_longest = std::max(m_longest, text.size());
            m_filter[PlaceOf(hash, m_filter.size())] |= FilterBits(hash);
        } else if (TextOf(slot) != text) {
            inserted = Inserted::Ambiguous;
        }
    }
    return inserted;
}

/// False for most of the texts that are not in the index, at the cost of one word of a table that
/// is small enough to stay in the processor's cache.
[[gnu::always_inline]] inline bool SortedStrings::MayHold(std::uint64_t hash) const {
    // The slot is on its way from memory meanwhile.
    __builtin_prefetch(&m_slots[PlaceOf(hash, m_slots.size())]);
    const std::uint64_t bits = FilterBits(hash);
    return (m_filter[PlaceOf(hash, m_filter.size())] & bits) == bits;
}

/// The place of `text`, or the free place that it would take.
template <typename Fold>
[[gnu::always_inline]] inline std::size_t
SortedStrings::Probe(const Fold& fold, std::string_view text, std::uint64_t hash) const {
    const std::uint16_t key = SlotKey(text, hash);
    std::size_t place = PlaceOf(hash, m_slots.size());
    for (Slot slot; (slot = m_slots[place]) != 0;) {
        if (static_cast<std::uint16_t>(slot) == key && Equal(fold, text, TextOf(slot)))
            break;
        if (++place == m_slots.size())
            place = 0;
    }
    return place;
}

template <typename Fold>
std::string_view SortedStrings::Lookup(const Fold& fold, std::string_view text) const {
    const std::uint64_t hash = Hash(fold, text, m_seed);
    if (!MayHold(hash))
        return std::string_view();
    const Slot slot = m_slots[Probe(fold, text, hash)];
    if (slot == 0)
        return std::string_view();
    return TextOf(slot);
}

template <typename Fold>
std::string_view SortedStrings::LookupFirst(const Fold& fold,
                                            const std::vector<std::string_view>& keys) const {
    std::string_view first;
    std::uint32_t first_position = 0;
    for (const std::string_view key : keys) {
        if (key.size() > m_longest)
            continue;
        const std::uint64_t hash = Hash(fold, key, m_seed);
        if (!MayHold(hash))
            continue;
        const std::size_t place = Probe(fold, key, hash);
        if (m_slots[place] == 0)
            continue;
        const std::string_view text = TextOf(m_slots[place]);
        const std::uint32_t position = m_as_listed ? m_positions[place] : 0;
        if (!first.data() ||
            (m_as_listed ? position < first_position : LessByUpper(m_upper)(text, first))) {
            first = text;
            first_position = position;
        }
    }
    return first;
}

bool SortedStrings::FindFirstOf(const std::vector<std::string_view>& keys, const LocaleBytes& bytes,
                                std::string_view& found) const {
    if (!m_indexed || !m_nocase || bytes.UpperTable() != m_upper)
        return false;
    // Many long keys would cost more than the strings that a walk has to look at.
    std::size_t work = 0;
    for (const std::string_view key : keys)
        work += key.size() > m_longest ? 0 : key.size();
    if (work > 8 * m_strings.size())
        return false;
    found =
        m_ascii_upper ? LookupFirst(AsciiUpper(), keys) : LookupFirst(TableUpper{m_upper}, keys);
    return true;
}

template <typename Less>
std::string_view SortedStrings::BinarySearch(std::string_view text, Less less) const {
    const std::vector<std::uint32_t>& order = Order();
    const auto found = std::lower_bound(order.begin(), order.end(), text,
                                        [&](std::uint32_t position, std::string_view request) {
                                            return less(m_strings[position], request);
                                        });
    if (found == order.end() || less(text, m_strings[*found]))
        return std::string_view();
    return m_strings[*found];
}

std::string_view SortedStrings::Find(std::string_view text) const {
    if (m_indexed && !m_nocase)
        return Lookup(AsTheyAre(), text);
    return BinarySearch(text, LessBySignedBytes);
}

std::string_view SortedStrings::FindNoCase(std::string_view text, const LocaleBytes& bytes) const {
    if (m_indexed && m_nocase) {
        if (m_ascii_upper && bytes.UpperIsAscii())
            return Lookup(AsciiUpper(), text);
        if (bytes.UpperTable() == m_upper)
            return Lookup(TableUpper{m_upper}, text);
    }
    return BinarySearch(text, LessByUpper(bytes.UpperTable()));
}

const std::vector<std::uint32_t>& SortedStrings::Order() const {
    if (m_ordered.load(std::memory_order_acquire))
        return m_order;
    const std::lock_guard<std::mutex> lock(m_order_lock);
    if (!m_ordered.load(std::memory_order_relaxed)) {
        if (m_strings.size() >= std::numeric_limits<std::uint32_t>::max())
            throw std::length_error("too many strings to sort");
        std::vector<std::uint32_t> order(m_strings.size());
        std::iota(order.begin(), order.end(), 0);
        // std::sort over positions makes the very moves that it makes over the strings, so strings
        // that are equal without regard to case end in the same order.
        if (m_nocase) {
            const LessByUpper less(m_upper);
            std::sort(order.begin(), order.end(), [&](std::uint32_t l, std::uint32_t r) {
                return less(m_strings[l], m_strings[r]);
            });
        } else {
            std::sort(order.begin(), order.end(), [&](std::uint32_t l, std::uint32_t r) {
                return m_strings[l] < m_strings[r];
            });
        }
        m_order = std::move(order);
        m_ordered.store(true, std::memory_order_release);
    }
    return m_order;
}

std::vector<std::string> SortedStrings::TakeInOrder(std::vector<std::string>& strings) const {
    const std::vector<std::uint32_t>& order = Order();
    std::vector<std::string> sorted;
    sorted.reserve(order.size() + 1);
    for (const std::uint32_t position : order)
        sorted.push_back(std::move(strings[position]));
    return sorted;
}
