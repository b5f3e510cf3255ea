// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/Pcre2Pattern.h"
#include "families/patterns/ResultText.h"
#include "lookup/config/PluginLookup.h"
#include "plugins/regex/RegexConfig.h"

#include <memory>
#include <string>

namespace kwlookup {

/// One pattern: "regex:PATTERN". The pattern is what stands in *matched after a match.
///
/// Threads: searches may run at once and take no lock, but for the first one of a pattern.
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

} // namespace kwlookup
