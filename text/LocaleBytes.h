// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

namespace kwlookup {

/// What the global locale says of each of the 256 bytes: upper-case form, lower-case form, space.
///
/// Asking a locale costs a facet look-up, and under a named locale a process-wide lock, for every
/// character; a table costs one load. Tables are kept per thread and made anew when the global
/// locale has changed, which is asked once per call of Current().
///
/// A child that a program with threads has forked keeps the global locale of the fork: asking for
/// another one could wait for a thread that the child does not have.
///
/// Threads: the reference returned by Current() belongs to the calling thread, and holds until its
/// next call.
class LocaleBytes {
public:
    using Table = std::array<char, 256>;

    /// The tables of the global locale as it is now. Costs about 10 ns when it has not changed.
    static const LocaleBytes& Current();

    char Upper(char c) const { return m_upper[static_cast<unsigned char>(c)]; }
    char Lower(char c) const { return m_lower[static_cast<unsigned char>(c)]; }
    bool IsSpace(char c) const { return m_space[static_cast<unsigned char>(c)] != 0; }

    /// The upper-case form of each byte value.
    const Table& GetUpperTable() const { return m_upper; }

    /// True when a to z have A to Z as upper-case forms, and every other byte itself.
    bool UpperIsAscii() const { return m_upper_is_ascii; }

    /// True when texts with the same upper-case forms have white space and dots at the same places,
    /// as in every locale that people use.
    bool UpperKeepsMarks() const;

    /// True when both say the same of every byte.
    bool SameTables(const LocaleBytes& other) const {
        return m_locale == other.m_locale || (m_upper == other.m_upper && m_space == other.m_space);
    }

    /// The first white space from `begin` on, or `end`. Quick where the locale has the usual kinds.
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

    /// True when both texts have the same length and the same upper-case forms.
    /// Cost: by eight bytes and more at once.
    bool EqualNoCase(std::string_view left, std::string_view right) const {
        return left.size() == right.size() && EqualUpper(left.data(), right.data(), left.size());
    }

private:
    explicit LocaleBytes(const std::locale& locale);

    bool EqualUpper(const char* left, const char* right, std::size_t size) const;

    static void BeforeFork();
    static void AfterForkInChild();

    /// What a child has from its parent; null where the global locale can be asked for.
    static const LocaleBytes* m_inherited;
    /// The tables of a thread that forks beside others.
    static thread_local const LocaleBytes* m_of_forking_thread;
    static const bool m_forks_are_seen;

    std::locale m_locale;
    Table m_upper;
    Table m_lower;
    Table m_space;
    bool m_upper_is_ascii = true;
    bool m_space_is_control = true; ///< no byte above a blank is white space
};

} // namespace kwlookup
