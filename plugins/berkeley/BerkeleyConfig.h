// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/KeyConfig.h"

namespace kwlookup {

/// The parameters of a file of keys and values.
class BerkeleyConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_berkeley";

    explicit BerkeleyConfig(const BerkeleyConfig* global) : KeyConfig(NAME, global) {}
};

} // namespace kwlookup
