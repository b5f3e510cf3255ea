// SPDX-License-Identifier: MIT
#include "families/patterns/PatternConfig.h"
#include "lookup/config/PluginLookup.h"
#include "plugins/rfile/PatternFile.h"
#include "plugins/rfile/PatternList.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// Parameters: those of PatternConfig. CaseSensitive is the default for the flags i and c.
class RfileConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_rfile";

    explicit RfileConfig(const RfileConfig* global) : PatternConfig(NAME, global) {}
};

/// A file of patterns: "rfile:FILE" (see ReadPatternFile() for the lines). The first pattern in the
/// file that matches answers. *matched is then "FILE:LINE: PATTERN".
///
/// Threads: any number may search at once. Only the first search of a pattern takes a lock.
class RfileLookup : public PluginLookup<RfileConfig> {
public:
    using PluginLookup::PluginLookup;

    /// The name of the file.
    std::string GetDescription() const override;

protected:
    void Load(const std::string& text) override;
    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override;

private:
    std::unique_ptr<const PatternList> m_list;
    PatternLimits m_limits;
};

std::string RfileLookup::GetDescription() const {
    return m_list ? m_list->GetName() : std::string();
}

void RfileLookup::Load(const std::string& text) {
    auto list = ReadPatternFile(text, GetConfig().GetOptions());
    const PatternLimits limits = GetConfig().GetLimits();
    if (GetLogPtr()->isDebugEnabled())
        LogText(*GetLogPtr(), log4cxx::Level::LEVEL_DEBUG,
                std::string(RfileConfig::NAME) + ": loaded " +
                    std::to_string(list->GetRules().size()) + " patterns from " + text + ", " +
                    std::to_string(list->GetUnfilteredCount()) +
                    " of them to be tried on every text");
    m_list = std::move(list);
    m_limits = limits;
}

bool RfileLookup::Search(const KwLookupFinder& finder, int flags, std::string* res,
                         std::string* matched) const {
    const std::string_view text = TextOf(finder, flags);
    if (!m_limits.Allows(text.size()))
        throw std::runtime_error(m_list->GetName() + ": " + m_limits.TooLong(text.size()));
    Pcre2Pattern::Groups groups;
    const PatternList::Rule* rule = m_list->Find(text, m_limits, &groups);
    if (!rule)
        return false;
    if (res && !rule->result.Empty())
        *res = rule->result.Expand(groups);
    if (matched)
        *matched = m_list->Place(rule->line) + rule->pattern.GetText();
    return true;
}

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::RfileLookup(log);
}
