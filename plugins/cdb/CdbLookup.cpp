// SPDX-License-Identifier: MIT
#include "families/files/KeyLookup.h"
#include "plugins/cdb/CdbConfig.h"
#include "plugins/cdb/CdbDatabase.h"

namespace kwlookup {

/// The creator that the library calls, for "cdb:KEY".
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new KeyLookup<CdbConfig, CdbDatabase>(log);
}

} // namespace kwlookup
