// SPDX-License-Identifier: MIT
#include "families/files/KeyConfig.h"

#include "conf/ConfParser.h"

#include <boost/algorithm/string/predicate.hpp>

#include <stdexcept>

namespace kwlookup {

namespace {

KeyConfig::Nul NulOf(const std::string& text) {
    if (text.empty() || ConfParser::IsFalse(text))
        return KeyConfig::Nul::No;
    if (ConfParser::IsTrue(text))
        return KeyConfig::Nul::Yes;
    if (boost::algorithm::iequals(text, "both"))
        return KeyConfig::Nul::Both;
    throw std::invalid_argument("Wrong TrailingNul setting [" + text +
                                "]: wait 'no', 'yes' or 'both'");
}

} // namespace

void KeyConfig::PostInit() {
    DatabaseConfig::PostInit();
    NulOf(m_trailing_nul.GetOwn());
}

KeyConfig::Nul KeyConfig::GetTrailingNul() const {
    return NulOf(m_trailing_nul.Get());
}

} // namespace kwlookup
