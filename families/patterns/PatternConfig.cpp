// SPDX-License-Identifier: MIT
#include "families/patterns/PatternConfig.h"

#include "families/patterns/Pcre2Pattern.h"

#include <limits>

namespace kwlookup {

void PatternConfig::PostInit() {
    constexpr int LARGEST = std::numeric_limits<int>::max();
    TypeConfig::PostInit();
    m_match_limit.CheckRange(1, LARGEST);
    m_depth_limit.CheckRange(1, LARGEST);
    // At least PCRE2's own default; at most 1 GiB, as more is probably a mistake.
    m_heap_limit.CheckRange(32 * 1024, 1024 * 1024 * 1024);
    m_max_length.CheckRange(1, LARGEST);
    m_search_time.CheckRange(1, LARGEST);
}

PatternLimits PatternConfig::GetLimits() const {
    return {m_match_limit.Get(), m_depth_limit.Get(), m_heap_limit.Get(), m_max_length.Get(),
            m_search_time.Get()};
}

unsigned PatternConfig::GetOptions() const {
    return m_case_sensitive.Get() ? 0u : unsigned(Pcre2Pattern::IgnoreCase);
}

} // namespace kwlookup
