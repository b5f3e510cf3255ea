// SPDX-License-Identifier: MIT
#pragma once

#include "text/LocaleBytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The positions of strings in the order in which std::sort leaves the strings.
///
/// std::sort over positions makes the very moves that it makes over the strings, so strings that
/// are equal without regard to case end in the same order. The strings belong to the caller and
/// must neither change nor move. Memory: 4 bytes a string; 16 more while the order is made.
class SortedOrder {
public:
    using Positions = std::vector<std::uint32_t>;

    /// By bytes as unsigned values; with `upper`, by the upper-case forms in it, as signed ones.
    /// Throws std::bad_alloc only. At most 4,294,967,294 strings.
    explicit SortedOrder(const std::vector<std::string>& strings,
                         const LocaleBytes::Table* upper = nullptr);

    const Positions& Get() const { return m_positions; }

    /// What a binary search by bytes as signed values finds: the first of the equal strings. Its
    /// data() is null where there is none.
    std::string_view Find(std::string_view text) const;

    /// The same by the upper-case forms in `upper`.
    std::string_view FindNoCase(std::string_view text, const LocaleBytes::Table& upper) const;

private:
    template <typename Less>
    std::string_view BinarySearch(std::string_view text, Less less) const;

    const std::vector<std::string>& m_strings;
    Positions m_positions;
};

} // namespace kwlookup
