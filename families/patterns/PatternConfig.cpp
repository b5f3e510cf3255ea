// SPDX-License-Identifier: MIT
#include "families/patterns/PatternConfig.h"

#include "families/patterns/Pcre2Pattern.h"

#include <limits>
#include <stdexcept>

namespace kwlookup {

namespace {

constexpr bool NOT_CASE_SENSITIVE = false;
constexpr PatternLimits DEFAULTS;

void CheckRange(const char* name, long long value, long long least, long long most) {
    if (value < least || value > most)
        throw std::invalid_argument(std::string(name) + " must be from " + std::to_string(least) +
                                    " to " + std::to_string(most));
}

} // namespace

std::vector<KwLookupSharedConf::params_t> PatternConfig::GetParams() const {
    using Parser = IfConfParser;
    return {
        Param("CaseSensitive", &m_case_sensitive, Parser::VT_BOOL, &NOT_CASE_SENSITIVE),
        Param("MatchLimit", &m_limits.match, Parser::VT_INT, &DEFAULTS.match),
        Param("DepthLimit", &m_limits.depth, Parser::VT_INT, &DEFAULTS.depth),
        Param("HeapLimit", &m_limits.heap, Parser::VT_SIZE, &DEFAULTS.heap),
        Param("MaxLength", &m_limits.length, Parser::VT_SIZE, &DEFAULTS.length),
        Param("SearchTime", &m_limits.time, Parser::VT_INT, &DEFAULTS.time),
    };
}

void PatternConfig::PostInit() {
    constexpr long long LARGEST = std::numeric_limits<int>::max();
    TypeConfig::PostInit();
    CheckRange("MatchLimit", m_limits.match, 1, LARGEST);
    CheckRange("DepthLimit", m_limits.depth, 1, LARGEST);
    CheckRange("HeapLimit", m_limits.heap, 32 * 1024, 1024 * 1024 * 1024);
    CheckRange("MaxLength", m_limits.length, 1, LARGEST);
    CheckRange("SearchTime", m_limits.time, 1, LARGEST);
}

PatternLimits PatternConfig::GetLimits() const {
    PatternLimits limits;
    limits.match = GetVal<int>("MatchLimit");
    limits.depth = GetVal<int>("DepthLimit");
    limits.heap = GetVal<long long>("HeapLimit");
    limits.length = GetVal<long long>("MaxLength");
    limits.time = GetVal<int>("SearchTime");
    return limits;
}

unsigned PatternConfig::GetOptions() const {
    return GetVal<bool>("CaseSensitive") ? 0u : unsigned(Pcre2Pattern::IGNORE_CASE);
}

} // namespace kwlookup
