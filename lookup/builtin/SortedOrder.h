// SPDX-License-Identifier: MIT
#pragma once

#include "text/LocaleBytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The positions of strings in the order in which std::sort would leave the strings.
///
/// std::sort makes the same moves with positions as with the strings, so strings that are equal
/// when case is ignored end in the same order. The strings belong to the caller and must neither
/// change nor move. Memory: 4 bytes a string, and 16 more while the order is made.
class SortedOrder {
public:
    using Positions = std::vector<std::uint32_t>;

    /// Sorts by bytes as unsigned values or, with `upper`, by its upper-case forms as signed
    /// values. Takes at most 4,294,967,294 strings. Throws std::bad_alloc only.
    explicit SortedOrder(const std::vector<std::string>& strings,
                         const LocaleBytes::Table* upper = nullptr);

    const Positions& Get() const { return m_positions; }

    /// Returns the first of the equal strings that a binary search by bytes as signed values finds.
    /// Its data() is null when there is none.
    std::string_view Find(std::string_view text) const;

    /// Does the same by the upper-case forms in `upper`.
    std::string_view FindNoCase(std::string_view text, const LocaleBytes::Table& upper) const;

private:
    template <typename Less>
    std::string_view BinarySearch(std::string_view text, Less less) const;

    const std::vector<std::string>& m_strings;
    Positions m_positions;
};

} // namespace kwlookup
