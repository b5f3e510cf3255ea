// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternLimits.h"
#include "lookup/config/SearchTime.h"

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

struct pcre2_real_code_8;

namespace kwlookup {

/// A compiled pattern of the PCRE2 syntax. Bytes are characters: neither UTF-8 nor any locale plays
/// a part, and letter case is that of A to Z.
///
/// Machine code is made by the first search, in about 15 us; where the system allows none, PCRE2
/// interprets the pattern, with the same answers.
///
/// Threads: any number may search at once. What a search writes to is the thread's own: about 2
/// KiB, and a stack of up to PatternLimits::heap bytes, freed when the thread ends.
class Pcre2Pattern {
public:
    enum Option : unsigned {
        IgnoreCase = 1,
        MultiLine = 2,  ///< `^` and `$` also match at line feeds
        DotAll = 4,     ///< `.` also matches a line feed
        WhiteSpace = 8, ///< white space and `#` comments in the pattern do not count
    };

    /// What the groups 0 to 9 of a match hold, group 0 being the whole match. A group that took no
    /// part is empty.
    using Groups = std::array<std::string_view, 10>;

    /// Compiles `pattern`; `options` are bits of Option. Throws std::invalid_argument "MESSAGE at
    /// offset N" with PCRE2's own message and the offset in `pattern`, in bytes.
    Pcre2Pattern(std::string_view pattern, unsigned options);
    ~Pcre2Pattern();
    Pcre2Pattern(const Pcre2Pattern&) = delete;
    Pcre2Pattern& operator=(const Pcre2Pattern&) = delete;

    /// True when the pattern matches somewhere in `text`; `groups`, when not null, are then views
    /// into `text`.
    ///
    /// Throws std::runtime_error "pattern 'PATTERN': REASON" when a limit ends the search or PCRE2
    /// fails, with the name and the value of the limit in REASON, and std::bad_alloc.
    ///
    /// The limit of time is `time`, which other searches may share; it is looked at before every
    /// 513 places of the text where a match may begin.
    bool Search(std::string_view text, const PatternLimits& limits, Groups* groups,
                const SearchTime& time) const;

    /// The same with all the time that `limits` gives.
    bool Search(std::string_view text, const PatternLimits& limits, Groups* groups) const {
        MakeMachineCode();
        return Search(text, limits, groups, SearchTime(limits.time));
    }

    /// Makes the machine code, so that no search spends its time on that.
    void MakeMachineCode() const;

    const std::string& GetText() const { return m_text; }

    /// The number of groups in the pattern.
    unsigned GetGroupCount() const;

private:
    struct FreeCode {
        void operator()(pcre2_real_code_8* code) const;
    };

    std::string m_text;
    std::unique_ptr<pcre2_real_code_8, FreeCode> m_code;
    mutable std::once_flag m_machine_code_made;
    bool m_in_parts; ///< may be searched for in a part of the text after the other
};

} // namespace kwlookup
