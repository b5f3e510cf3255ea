// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of patterns, and Result: the result text of a match, none by default.
class RegexConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_regex";

    explicit RegexConfig(const RegexConfig* global) : PatternConfig(NAME, global) {}

    const std::string& GetResult() const { return m_result.Get(); }

private:
    Parameter<std::string> m_result{*this, "Result"};
};

} // namespace kwlookup
