// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/KeyConfig.h"

namespace kwlookup {

/// The parameters of a file of keys and values.
class CdbConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_cdb";

    explicit CdbConfig(const CdbConfig* global) : KeyConfig(NAME, global) {}
};

} // namespace kwlookup
