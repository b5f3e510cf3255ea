// SPDX-License-Identifier: MIT
#include "families/files/KeyConfig.h"
#include "families/files/KeyLookup.h"
#include "plugins/berkeley/BerkeleyDatabase.h"

namespace kwlookup {

/// Parameters: those of KeyConfig.
class BerkeleyConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_berkeley";

    explicit BerkeleyConfig(const BerkeleyConfig* global) : KeyConfig(NAME, global) {}
};

/// The creator that the library calls for an item "berkeley:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<BerkeleyConfig, BerkeleyDatabase>(log);
}

} // namespace kwlookup
