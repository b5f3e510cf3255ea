// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/PluginLookup.h"
#include "plugins/rfile/PatternList.h"
#include "plugins/rfile/RfileConfig.h"

#include <memory>
#include <string>

namespace kwlookup {

/// A file of patterns: "rfile:FILE" (see ReadPatternFile() for the lines). The first match in file
/// order wins, and *matched is then "FILE:LINE: PATTERN".
///
/// Threads: searches may run at once and take no lock, but for the first one of a pattern.
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

} // namespace kwlookup
