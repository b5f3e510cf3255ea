// SPDX-License-Identifier: MIT
#include "families/files/KeyConfig.h"
#include "families/files/KeyLookup.h"
#include "plugins/cdb/CdbDatabase.h"

namespace kwlookup {

/// Parameters: those of KeyConfig.
class CdbConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_cdb";

    explicit CdbConfig(const CdbConfig* global) : KeyConfig(NAME, global) {}
};

/// The creator that the library calls for an item "cdb:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<CdbConfig, CdbDatabase>(log);
}

} // namespace kwlookup
