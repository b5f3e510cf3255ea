// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/common/PatternConfig.h"

/// The parameters of patterns; CaseSensitive is for lines that do not say.
class RfileConfig : public PatternConfig {
public:
    static constexpr char NAME[] = "lookup_rfile";

    explicit RfileConfig(const RfileConfig* global) : PatternConfig(NAME, global) {}
};
