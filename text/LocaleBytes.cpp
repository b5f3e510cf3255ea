// SPDX-License-Identifier: MIT
#include "text/LocaleBytes.h"

#include "text/FoldedText.h"
#include "text/Platform.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <pthread.h>

namespace kwlookup {

LocaleBytes::LocaleBytes(const std::locale& locale) : m_locale(locale) {
    const auto& ctype = std::use_facet<std::ctype<char>>(locale);
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        m_upper[byte] = ctype.toupper(c);
        m_lower[byte] = ctype.tolower(c);
        m_space[byte] = ctype.is(std::ctype_base::space, c) ? 1 : 0;
        if (IsSpace(c) && byte > ' ')
            m_space_is_control = false;
        const int ascii_upper = byte >= 'a' && byte <= 'z' ? byte - 'a' + 'A' : byte;
        if (static_cast<unsigned char>(m_upper[byte]) != ascii_upper)
            m_upper_is_ascii = false;
    }
    m_upper_ranges = UpperRanges(m_upper);
}

const LocaleBytes* LocaleBytes::m_inherited = nullptr;
thread_local const LocaleBytes* LocaleBytes::m_of_forking_thread = nullptr;
const bool LocaleBytes::m_forks_are_seen =
    ::pthread_atfork(&BeforeFork, nullptr, &AfterForkInChild) == 0;

void LocaleBytes::BeforeFork() {
    try {
        m_of_forking_thread = HasOneThread() ? nullptr : &Current();
    } catch (...) { // out of memory: the child then asks the global locale
        m_of_forking_thread = nullptr;
    }
}

void LocaleBytes::AfterForkInChild() {
    if (m_of_forking_thread && !m_inherited)
        m_inherited = new (std::nothrow) LocaleBytes(*m_of_forking_thread);
}

const LocaleBytes& LocaleBytes::Current() {
    if (m_inherited)
        return *m_inherited;
    const std::locale global;
    thread_local LocaleBytes bytes(global);
    if (!(bytes.m_locale == global))
        bytes = LocaleBytes(global);
    return bytes;
}

void LocaleBytes::Trim(std::string& text) const {
    auto begin = text.cbegin();
    auto end = text.cend();
    Trim(begin, end);
    // By positions, since resizing invalidates the iterators.
    const auto skipped = static_cast<std::size_t>(begin - text.cbegin());
    text.resize(static_cast<std::size_t>(end - text.cbegin()));
    text.erase(0, skipped);
}

const char* LocaleBytes::FindSpace(const char* begin, const char* end) const {
    // Not zero when one of the eight bytes is at most a blank.
    const auto controls = [](const char* p) {
        const std::uint64_t word = LoadWord(p);
        return (word - (' ' + 1) * EACH_BYTE) & ~word & 0x80 * EACH_BYTE;
    };
    if (m_space_is_control) {
        constexpr std::ptrdiff_t BLOCK = 64; // lets the compiler vectorise the loop
        for (; end - begin >= BLOCK; begin += BLOCK) {
            std::uint64_t found = 0;
            for (std::ptrdiff_t i = 0; i < BLOCK; i += 8)
                found |= controls(begin + i);
            if (found != 0)
                break;
        }
        const bool overlaps = end - begin >= 8; // so that the last word may begin earlier
        for (; end - begin >= 8; begin += 8) {
            if (controls(begin) == 0)
                continue;
            for (int i = 0; i < 8; ++i)
                if (IsSpace(begin[i]))
                    return begin + i;
        }
        if (overlaps && controls(end - 8) == 0)
            return end;
    }
    return std::find_if(begin, end, [this](char c) { return IsSpace(c); });
}

bool LocaleBytes::EqualUpper(const char* left, const char* right, std::size_t size) const {
    return m_upper_is_ascii ? Equal(AsciiUpper(), left, right, size)
                            : Equal(TableUpper{m_upper, m_upper_ranges}, left, right, size);
}

bool LocaleBytes::UpperKeepsMarks() const {
    std::array<int, 256> marks; // indexed by upper-case form; -1 is not seen yet
    marks.fill(-1);
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const int mark = c == '.' ? 2 : IsSpace(c) ? 1 : 0;
        int& known = marks[static_cast<unsigned char>(Upper(c))];
        if (known != -1 && known != mark)
            return false;
        known = mark;
    }
    return true;
}

} // namespace kwlookup
