// SPDX-License-Identifier: MIT
#include "families/files/KeyConfig.h"

#include "conf/ConfParser.h"

#include <boost/algorithm/string/predicate.hpp>

#include <stdexcept>

namespace kwlookup {

namespace {

constexpr bool LOWER_CASE = true;
constexpr bool NOT_ALL_VALUES = false;
const std::string NO_NUL = "no";

KeyConfig::Nul NulOf(const std::string& text) {
    if (text.empty() || ConfParser::IsFalse(text))
        return KeyConfig::Nul::NO;
    if (ConfParser::IsTrue(text))
        return KeyConfig::Nul::YES;
    if (boost::algorithm::iequals(text, "both"))
        return KeyConfig::Nul::BOTH;
    throw std::invalid_argument("Wrong TrailingNul setting [" + text +
                                "]: wait 'no', 'yes' or 'both'");
}

} // namespace

std::vector<KwLookupSharedConf::params_t> KeyConfig::GetParams() const {
    std::vector<params_t> params = DatabaseConfig::GetParams();
    params.push_back(Param("LowerCase", &m_lower_case, IfConfParser::VT_BOOL, &LOWER_CASE));
    params.push_back(Param("AllValues", &m_all_values, IfConfParser::VT_BOOL, &NOT_ALL_VALUES));
    params.push_back(Param("TrailingNul", &m_trailing_nul, IfConfParser::VT_STRING, &NO_NUL));
    return params;
}

void KeyConfig::PostInit() {
    DatabaseConfig::PostInit();
    NulOf(m_trailing_nul);
}

KeyConfig::Nul KeyConfig::GetTrailingNul() const {
    return NulOf(GetVal<std::string>("TrailingNul"));
}

} // namespace kwlookup
