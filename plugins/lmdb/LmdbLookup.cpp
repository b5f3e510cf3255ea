// SPDX-License-Identifier: MIT
#include "families/files/KeyConfig.h"
#include "families/files/KeyLookup.h"
#include "plugins/lmdb/LmdbDatabase.h"

namespace kwlookup {

/// Parameters: those of KeyConfig.
class LmdbConfig : public KeyConfig {
public:
    static constexpr char NAME[] = "lookup_lmdb";

    explicit LmdbConfig(const LmdbConfig* global) : KeyConfig(NAME, global) {}
};

/// The creator that the library calls, for "lmdb:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<LmdbConfig, LmdbDatabase>(log);
}

} // namespace kwlookup
