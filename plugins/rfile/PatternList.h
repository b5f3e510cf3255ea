// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/Pcre2Pattern.h"
#include "families/patterns/ResultText.h"
#include "plugins/rfile/LiteralIndex.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A list of patterns. The first one that matches a text answers.
///
/// A pattern that requires literals is tried only on texts that contain them (see LiteralIndex),
/// the others on all texts. The answers are those of trying all patterns in order, except that a
/// pattern that cannot match may be skipped where it would have reached a limit.
///
/// Threads: one fills the list; then any number may search.
class PatternList {
public:
    struct Rule {
        Rule(std::string_view pattern_text, unsigned options, std::string_view result_text,
             std::size_t line_number)
            : pattern(pattern_text, options), result(result_text, pattern), line(line_number) {}

        Pcre2Pattern pattern;
        ResultText result;
        std::size_t line;
    };

    /// `name` is the name of the file, for messages.
    explicit PatternList(const std::string& name) : m_name(name) {}

    /// Append a rule. `options` are those of Pcre2Pattern. Throws what Pcre2Pattern and ResultText
    /// throw.
    void Add(std::string_view pattern, unsigned options, std::string_view result, std::size_t line);

    /// Call once, after the last Add(). Compiles the patterns that are tried on every text to
    /// machine code, in about 15 us each. The others are compiled when they are first tried.
    void Finish();

    /// The first rule that matches, or null. Throws as Pcre2Pattern::Search() does, with
    /// "FILE:LINE: " before the message. The time to make machine code does not count.
    const Rule* Find(std::string_view text, const PatternLimits& limits,
                     Pcre2Pattern::Groups* groups) const;

    const std::string& GetName() const { return m_name; }

    /// "FILE:LINE: ".
    std::string Place(std::size_t line) const { return m_name + ":" + std::to_string(line) + ": "; }

    const std::deque<Rule>& GetRules() const { return m_rules; }

    /// How many rules are tried on every text.
    std::size_t GetUnfilteredCount() const { return m_unfiltered.size(); }

private:
    std::string m_name;
    std::deque<Rule> m_rules;
    std::vector<std::uint32_t> m_unfiltered; ///< in ascending order
    LiteralIndex m_index;
};

} // namespace kwlookup
