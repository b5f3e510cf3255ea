// SPDX-License-Identifier: MIT
#include "families/files/KeyLookup.h"
#include "plugins/berkeley/BerkeleyConfig.h"
#include "plugins/berkeley/BerkeleyDatabase.h"

namespace kwlookup {

/// The creator that the library calls, for "berkeley:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<BerkeleyConfig, BerkeleyDatabase>(log);
}

} // namespace kwlookup
