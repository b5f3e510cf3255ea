// SPDX-License-Identifier: MIT
#pragma once

#include "text/UpperRanges.h"

#include <array>
#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

namespace kwlookup {

/// Tables of the global locale: the upper-case form and the lower-case form of each byte, and
/// whether it is white space.
///
///     const LocaleBytes& bytes = LocaleBytes::Current();
///     bytes.Trim(text);
///     if (bytes.EqualNoCase(text, "corp.lan"))
///         ...
///
/// A locale costs a facet look-up for every character, and a named one a process-wide lock; a table
/// costs one load. Each thread keeps its own tables. Current() makes them again when the global
/// locale has changed.
///
/// In the forked child of a program with threads the tables stay those of the fork: to ask for the
/// global locale there could wait for a lock of a thread that is gone.
///
/// Threads: the reference returned by Current() belongs to the calling thread, and holds until its
/// next call.
class LocaleBytes {
public:
    using Table = std::array<char, 256>;

    /// Returns the tables of the current global locale. Costs about 10 ns when it has not changed.
    static const LocaleBytes& Current();

    char Upper(char c) const { return m_upper[static_cast<unsigned char>(c)]; }
    char Lower(char c) const { return m_lower[static_cast<unsigned char>(c)]; }
    bool IsSpace(char c) const { return m_space[static_cast<unsigned char>(c)] != 0; }

    /// Returns the upper-case form of each byte value.
    const Table& GetUpperTable() const { return m_upper; }
    /// Returns the ranges of that table.
    const UpperRanges& GetUpperRanges() const { return m_upper_ranges; }

    /// Returns true when only a to z have an upper-case form other than themselves, and it is A to
    /// Z.
    bool UpperIsAscii() const { return m_upper_is_ascii; }

    /// Returns true when texts with the same upper-case form have white space and dots at the same
    /// places. It holds in every locale in use.
    bool UpperKeepsMarks() const;

    /// Returns true when both agree on every byte.
    bool SameTables(const LocaleBytes& other) const {
        return m_locale == other.m_locale || (m_upper == other.m_upper && m_space == other.m_space);
    }

    /// Returns the first white space from `begin` on, or `end`. Fast in locales whose only white
    /// space is the blank and control characters.
    const char* FindSpace(const char* begin, const char* end) const;

    /// Moves `begin` and `end` inwards past white space.
    template <typename Iterator>
    void Trim(Iterator& begin, Iterator& end) const {
        while (begin != end && IsSpace(*begin))
            ++begin;
        while (begin != end && IsSpace(*(end - 1)))
            --end;
    }

    /// Removes white space at both ends.
    void Trim(std::string& text) const;

    /// Returns true when both texts have the same length and the same upper-case forms. Compares
    /// eight bytes or more at once.
    bool EqualNoCase(std::string_view left, std::string_view right) const {
        return left.size() == right.size() && EqualUpper(left.data(), right.data(), left.size());
    }

private:
    explicit LocaleBytes(const std::locale& locale);

    bool EqualUpper(const char* left, const char* right, std::size_t size) const;

    static void BeforeFork();
    static void AfterForkInChild();

    /// The tables of a forked child; null where the global locale may be asked.
    static const LocaleBytes* m_inherited;
    /// The tables of a thread that forks while there are others.
    static thread_local const LocaleBytes* m_of_forking_thread;
    static const bool m_forks_are_seen;

    std::locale m_locale;
    Table m_upper;
    UpperRanges m_upper_ranges;
    Table m_lower;
    Table m_space;
    bool m_upper_is_ascii = true;
    bool m_space_is_control = true; ///< no byte above a blank is white space
};

} // namespace kwlookup
