// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternLimits.h"
#include "lookup/config/TypeConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The parameters of every plug-in that searches with patterns: CaseSensitive, MatchLimit,
/// DepthLimit, HeapLimit, MaxLength and SearchTime (see PatternLimits for all but the first).
class PatternConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    std::vector<params_t> GetParams() const override;

    /// Throws std::invalid_argument "NAME must be from LEAST to MOST" besides what the base throws.
    void PostInit() override;

    /// The limits in force, those of the lookup before those of the type.
    PatternLimits GetLimits() const;

    /// The options of Pcre2Pattern that CaseSensitive asks for.
    unsigned GetOptions() const;

private:
    bool m_case_sensitive = false;
    PatternLimits m_limits;
};

} // namespace kwlookup
