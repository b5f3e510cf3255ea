// SPDX-License-Identifier: MIT
#include "plugins/berkeley/BerkeleyConfig.h"
#include "plugins/berkeley/BerkeleyDatabase.h"
#include "plugins/common/KeyLookup.h"

/// The creator that the library calls, for "berkeley:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<BerkeleyConfig, BerkeleyDatabase>(log);
}
