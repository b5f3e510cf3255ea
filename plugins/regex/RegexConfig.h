// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The parameters of patterns, and Result: the result text of a match, none by default.
class RegexConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_regex";

    explicit RegexConfig(const RegexConfig* global) : PatternConfig(NAME, global) {}

    std::vector<params_t> GetParams() const override {
        std::vector<params_t> params = PatternConfig::GetParams();
        params.push_back(Param("Result", &m_result, IfConfParser::VT_STRING));
        return params;
    }

    const std::string& GetResult() const { return GetVal<std::string>("Result"); }

private:
    std::string m_result;
};

} // namespace kwlookup
