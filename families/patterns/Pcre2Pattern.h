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

/// A compiled pattern in the syntax of PCRE2. Characters are bytes, in any locale; only A to Z have
/// letter case.
///
/// The first search compiles the pattern to machine code, in about 15 us. If the system does not
/// allow machine code, PCRE2 interprets the pattern, with the same answers.
///
/// Threads: any number may search at once. Each has working memory of its own: about 2 KiB and a
/// stack of up to PatternLimits::heap bytes, freed when the thread ends.
class Pcre2Pattern {
public:
    enum Option : unsigned {
        IgnoreCase = 1,
        MultiLine = 2,  ///< `^` and `$` also match at line feeds
        DotAll = 4,     ///< `.` also matches a line feed
        WhiteSpace = 8, ///< white space and `#` comments in the pattern do not count
    };

    /// The texts of the groups 0 to 9 of a match; group 0 is the whole match. A group that did not
    /// take part is empty.
    using Groups = std::array<std::string_view, 10>;

    /// `options` are bits of Option. Throws std::invalid_argument "MESSAGE at offset N" with
    /// PCRE2's own message and the offset in `pattern`, in bytes.
    Pcre2Pattern(std::string_view pattern, unsigned options);
    ~Pcre2Pattern();
    Pcre2Pattern(const Pcre2Pattern&) = delete;
    Pcre2Pattern& operator=(const Pcre2Pattern&) = delete;

    /// True if the pattern matches somewhere in `text`. `groups`, if not null, are then views into
    /// `text`.
    ///
    /// Throws std::runtime_error "pattern 'PATTERN': REASON" if a limit ends the search or PCRE2
    /// fails, and std::bad_alloc. REASON has the name and the value of the limit.
    ///
    /// `time` limits the time and may be shared with other searches. It is checked before every 513
    /// starting positions in the text.
    bool Search(std::string_view text, const PatternLimits& limits, Groups* groups,
                const SearchTime& time) const;

    /// The same, with the time limit of `limits`.
    bool Search(std::string_view text, const PatternLimits& limits, Groups* groups) const {
        MakeMachineCode();
        return Search(text, limits, groups, SearchTime(limits.time));
    }

    /// Compile to machine code now, so that it does not count as search time.
    void MakeMachineCode() const;

    const std::string& GetText() const { return m_text; }

    /// The number of groups in the pattern, without group 0.
    unsigned GetGroupCount() const;

private:
    struct FreeCode {
        void operator()(pcre2_real_code_8* code) const;
    };

    std::string m_text;
    std::unique_ptr<pcre2_real_code_8, FreeCode> m_code;
    mutable std::once_flag m_machine_code_made;
    bool m_in_parts; ///< true if the text may be searched part by part
};

} // namespace kwlookup
