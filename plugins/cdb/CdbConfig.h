// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/common/KeyConfig.h"

/// The parameters of a file of keys and values.
class CdbConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_cdb";

    explicit CdbConfig(const CdbConfig* global) : KeyConfig(NAME, global) {}
};
