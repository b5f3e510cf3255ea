// SPDX-License-Identifier: MIT
#include "lookup/builtin/SortedStrings.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>

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

/// A keyed hash of the folded text. Without the keys nobody can choose texts that collide.
template <typename Fold>
std::uint64_t Hash(const Fold& fold, std::string_view text, const std::uint64_t (&seed)[2]) {
    const char* p = text.data();
    std::size_t left = text.size();
    std::uint64_t state = seed[0] ^ left;
    for (; left >= 8; p += 8, left -= 8)
        state = Mix(state ^ fold(LoadWord(p)), seed[1]);
    if (left > 0)
        state = Mix(state ^ fold(LoadTail(p, left)), seed[1]);
    return Mix(state ^ seed[1], seed[0]);
}

template <typename Fold>
bool Equal(const Fold& fold, std::string_view left, std::string_view right) {
    if (left.size() != right.size())
        return false;
    const char* l = left.data();
    const char* r = right.data();
    std::size_t size = left.size();
    for (; size >= 8; l += 8, r += 8, size -= 8)
        if (fold(LoadWord(l)) != fold(LoadWord(r)))
            return false;
    return size == 0 || fold(LoadTail(l, size)) == fold(LoadTail(r, size));
}

bool Equal(const AsTheyAre&, std::string_view left, std::string_view right) {
    return left == right;
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

bool ChangesAsciiLettersOnly(const LocaleBytes::Table& upper) {
    for (int byte = 0; byte < 256; ++byte) {
        const int expected = byte >= 'a' && byte <= 'z' ? byte - 'a' + 'A' : byte;
        if (static_cast<unsigned char>(upper[byte]) != expected)
            return false;
    }
    return true;
}

} // namespace

SortedStrings::SortedStrings(const std::vector<std::string>& strings)
    : m_strings(strings), m_nocase(false) {
    if (IsAscii(m_strings))
        BuildIndex();
}

SortedStrings::SortedStrings(const std::vector<std::string>& strings,
                             const LocaleBytes::Table& upper)
    : m_strings(strings), m_nocase(true), m_upper(upper),
      m_ascii_upper(ChangesAsciiLettersOnly(upper)) {
    BuildIndex();
}

void SortedStrings::BuildIndex() {
    if (m_strings.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many strings to sort");
    std::random_device random;
    for (std::uint64_t& half : m_seed)
        half = (static_cast<std::uint64_t>(random()) << 32 | random()) | 1;
    const auto insert_all = [this](const std::vector<std::uint32_t>* order) {
        // 15 bytes a string: full enough to be small, empty enough to end a search in one line.
        m_slots.assign(m_strings.size() * 15 / 8 + 1, 0);
        if (!m_nocase)
            return InsertAll(AsTheyAre(), order);
        return m_ascii_upper ? InsertAll(AsciiUpper(), order)
                             : InsertAll(TableUpper{m_upper}, order);
    };
    // Where equal strings differ in their bytes, the sort decides which of them is found.
    if (!insert_all(nullptr))
        insert_all(&Order());
    m_indexed = true;
}

/// Puts every string into the empty index, in list order or in `order`; of equal ones the first.
/// False when strings that are equal under `fold` differ in their bytes.
template <typename Fold>
bool SortedStrings::InsertAll(const Fold& fold, const std::vector<std::uint32_t>* order) {
    bool unambiguous = true;
    const auto count = static_cast<std::uint32_t>(m_strings.size());
    for (std::uint32_t i = 0; i < count; ++i)
        unambiguous &= Insert(fold, order ? (*order)[i] : i);
    return unambiguous;
}

template <typename Fold>
bool SortedStrings::Insert(const Fold& fold, std::uint32_t position) {
    const std::string& text = m_strings[position];
    const std::uint64_t hash = Hash(fold, text, m_seed);
    const auto tag = static_cast<std::uint32_t>(hash);
    std::size_t place = static_cast<Uint128>(hash) * m_slots.size() >> 64;
    while (m_slots[place] != 0) {
        const Slot slot = m_slots[place];
        if (static_cast<std::uint32_t>(slot) == tag) {
            const std::string& other = m_strings[(slot >> 32) - 1];
            if (Equal(fold, text, other))
                return text == other;
        }
        if (++place == m_slots.size())
            place = 0;
    }
    m_slots[place] = (static_cast<Slot>(position) + 1) << 32 | tag;
    return true;
}

template <typename Fold>
const std::string* SortedStrings::Probe(const Fold& fold, std::string_view text) const {
    const std::uint64_t hash = Hash(fold, text, m_seed);
    const auto tag = static_cast<std::uint32_t>(hash);
    std::size_t place = static_cast<Uint128>(hash) * m_slots.size() >> 64;
    while (m_slots[place] != 0) {
        const Slot slot = m_slots[place];
        if (static_cast<std::uint32_t>(slot) == tag) {
            const std::string& candidate = m_strings[(slot >> 32) - 1];
            if (Equal(fold, text, candidate))
                return &candidate;
        }
        if (++place == m_slots.size())
            place = 0;
    }
    return nullptr;
}

template <typename Less>
const std::string* SortedStrings::BinarySearch(std::string_view text, Less less) const {
    const std::vector<std::uint32_t>& order = Order();
    const auto found = std::lower_bound(order.begin(), order.end(), text,
                                        [&](std::uint32_t position, std::string_view request) {
                                            return less(m_strings[position], request);
                                        });
    if (found == order.end() || less(text, m_strings[*found]))
        return nullptr;
    return &m_strings[*found];
}

const std::string* SortedStrings::Find(std::string_view text) const {
    if (m_indexed && !m_nocase)
        return Probe(AsTheyAre(), text);
    return BinarySearch(text, LessBySignedBytes);
}

const std::string* SortedStrings::FindNoCase(std::string_view text,
                                             const LocaleBytes::Table& upper) const {
    if (!m_indexed || !m_nocase || upper != m_upper)
        return BinarySearch(text, LessByUpper(upper));
    return m_ascii_upper ? Probe(AsciiUpper(), text) : Probe(TableUpper{m_upper}, text);
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
