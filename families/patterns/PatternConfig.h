// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternLimits.h"
#include "lookup/config/Parameter.h"

namespace kwlookup {

/// The parameters of every plug-in that searches with patterns: CaseSensitive, MatchLimit,
/// DepthLimit, HeapLimit, MaxLength and SearchTime (see PatternLimits for all but the first).
class PatternConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    /// Throws std::invalid_argument "NAME must be from LEAST to MOST", and what the base class
    /// throws.
    void PostInit() override;

    /// The limits in force: those of the lookup if set, otherwise those of the type.
    PatternLimits GetLimits() const;

    /// The options of Pcre2Pattern for CaseSensitive.
    unsigned GetOptions() const;

private:
    Parameter<bool> m_case_sensitive{*this, "CaseSensitive", false};
    Parameter<int> m_match_limit{*this, "MatchLimit", PatternLimits().match};
    Parameter<int> m_depth_limit{*this, "DepthLimit", PatternLimits().depth};
    Parameter<Size> m_heap_limit{*this, "HeapLimit", PatternLimits().heap};
    Parameter<Size> m_max_length{*this, "MaxLength", PatternLimits().length};
    Parameter<int> m_search_time{*this, "SearchTime", PatternLimits().time};
};

} // namespace kwlookup
