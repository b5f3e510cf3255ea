// SPDX-License-Identifier: MIT
#include "families/patterns/PatternConfig.h"
#include "families/patterns/Pcre2Pattern.h"
#include "families/patterns/ResultText.h"
#include "lookup/config/PluginLookup.h"

#include <memory>
#include <string>

namespace kwlookup {

/// Parameters: those of PatternConfig, and Result, the result text of a match.
class RegexConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_regex";

    explicit RegexConfig(const RegexConfig* global) : PatternConfig(NAME, global) {}

    const std::string& GetResult() const { return m_result.Get(); }

private:
    Parameter<std::string> m_result{*this, "Result"};
};

/// One pattern: "regex:PATTERN". After a match, *matched is the pattern.
///
/// Threads: any number may search at once. Only the first search of a pattern takes a lock.
class RegexLookup : public PluginLookup<RegexConfig> {
public:
    using PluginLookup::PluginLookup;

    /// The pattern.
    std::string GetDescription() const override;

protected:
    void Load(const std::string& text) override;
    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override;

private:
    struct Rule {
        Rule(const std::string& text, const RegexConfig& config);

        Pcre2Pattern pattern;
        ResultText result;
        PatternLimits limits;
    };

    std::unique_ptr<const Rule> m_rule;
};

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
