// SPDX-License-Identifier: MIT
#pragma once

#include "families/patterns/PatternConfig.h"

namespace kwlookup {

/// The parameters of patterns; CaseSensitive is for lines that do not say.
class RfileConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_rfile";

    explicit RfileConfig(const RfileConfig* global) : PatternConfig(NAME, global) {}
};

} // namespace kwlookup
