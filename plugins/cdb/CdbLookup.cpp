// SPDX-License-Identifier: MIT
#include "plugins/cdb/CdbConfig.h"
#include "plugins/cdb/CdbDatabase.h"
#include "plugins/common/KeyLookup.h"

/// The creator that the library calls, for "cdb:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<CdbConfig, CdbDatabase>(log);
}
