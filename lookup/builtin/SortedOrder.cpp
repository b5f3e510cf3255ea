// SPDX-License-Identifier: MIT
#include "lookup/builtin/SortedOrder.h"

#include <algorithm>

namespace kwlookup {

namespace {

bool LessBySignedBytes(std::string_view left, std::string_view right) {
    return std::lexicographical_compare(
        left.begin(), left.end(), right.begin(), right.end(),
        [](char l, char r) { return static_cast<signed char>(l) < static_cast<signed char>(r); });
}

/// Compares by upper-case forms, as signed characters.
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

/// A string to sort, with its first bytes. They decide most comparisons without reading the string,
/// which would cost a cache miss.
struct Entry {
    std::uint64_t prefix;
    std::uint32_t position;
};

/// Returns the first eight bytes as a number that is less when the text is less.
template <typename Rank>
std::uint64_t Prefix(const std::string& text, const Rank& rank) {
    std::uint64_t prefix = 0;
    const std::size_t size = std::min<std::size_t>(text.size(), 8);
    for (std::size_t i = 0; i < size; ++i)
        prefix |= static_cast<std::uint64_t>(rank(text[i])) << (56 - 8 * i);
    return prefix;
}

template <typename Rank, typename Less>
void Sort(const std::vector<std::string>& strings, const Rank& rank, const Less& less,
          SortedOrder::Positions& positions) {
    std::vector<Entry> entries(strings.size());
    for (std::size_t i = 0; i < strings.size(); ++i)
        entries[i] = {Prefix(strings[i], rank), static_cast<std::uint32_t>(i)};
    std::sort(entries.begin(), entries.end(), [&](const Entry& l, const Entry& r) {
        return l.prefix != r.prefix ? l.prefix < r.prefix
                                    : less(strings[l.position], strings[r.position]);
    });
    positions.resize(entries.size());
    std::transform(entries.begin(), entries.end(), positions.begin(),
                   [](const Entry& entry) { return entry.position; });
}

} // namespace

SortedOrder::SortedOrder(const std::vector<std::string>& strings, const LocaleBytes::Table* upper)
    : m_strings(strings) {
    if (upper) {
        const auto rank = [upper](char c) { // maps signed values to unsigned ones in order
            return static_cast<unsigned char>((*upper)[static_cast<unsigned char>(c)]) ^ 0x80u;
        };
        Sort(strings, rank, LessByUpper(*upper), m_positions);
    } else {
        const auto rank = [](char c) { return static_cast<unsigned char>(c); };
        Sort(strings, rank, std::less<std::string>(), m_positions);
    }
}

std::string_view SortedOrder::Find(std::string_view text) const {
    return BinarySearch(text, LessBySignedBytes);
}

std::string_view SortedOrder::FindNoCase(std::string_view text,
                                         const LocaleBytes::Table& upper) const {
    return BinarySearch(text, LessByUpper(upper));
}

template <typename Less>
std::string_view SortedOrder::BinarySearch(std::string_view text, Less less) const {
    const auto found = std::lower_bound(m_positions.begin(), m_positions.end(), text,
                                        [&](std::uint32_t position, std::string_view request) {
                                            return less(m_strings[position], request);
                                        });
    if (found == m_positions.end() || less(text, m_strings[*found]))
        return std::string_view();
    return m_strings[*found];
}

} // namespace kwlookup
