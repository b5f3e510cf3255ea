// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/Pcre2Pattern.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// The result text of a pattern: `$0` to `$9` stand for the groups of the match, `$$` for a dollar
/// sign. The text of a group is not expanded again.
///
/// Threads: any.
class ResultText {
public:
    /// Throws std::invalid_argument "result 'TEXT': '$' at offset N is not followed by a digit or
    /// '$'" and "result 'TEXT': the pattern has no group N".
    ResultText(std::string_view text, const Pcre2Pattern& pattern);

    /// An empty text: a plain match.
    ResultText() = default;

    bool Empty() const { return m_text.empty(); }

    /// The text with the groups put in.
    std::string Expand(const Pcre2Pattern::Groups& groups) const;

private:
    std::string m_text;
};

} // namespace kwlookup
