// SPDX-License-Identifier: MIT
#include "plugins/regex/RegexLookup.h"

namespace kwlookup {

RegexLookup::Rule::Rule(const std::string& text, const RegexConfig& config)
    : pattern(text, config.GetOptions()), result(config.GetResult(), pattern),
      limits(config.GetLimits()) {}

std::string RegexLookup::GetDescription() const {
    return m_rule ? m_rule->pattern.GetText() : std::string();
}

void RegexLookup::Load(const std::string& text) {
    m_rule = std::make_unique<Rule>(text, GetConfig());
}

bool RegexLookup::Search(const KwLookupFinder& finder, int flags, std::string* res,
                         std::string* matched) const {
    const std::string_view text = TextOf(finder, flags);
    const bool wants_result = res && !m_rule->result.Empty();
    Pcre2Pattern::Groups groups;
    if (!m_rule->pattern.Search(text, m_rule->limits, wants_result ? &groups : nullptr))
        return false;
    if (wants_result)
        *res = m_rule->result.Expand(groups);
    if (matched)
        *matched = m_rule->pattern.GetText();
    return true;
}

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::RegexLookup(log);
}
