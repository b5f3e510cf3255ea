// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "plugins/firebird/FirebirdConfig.h"
#include "plugins/firebird/FirebirdConnection.h"
#include "plugins/firebird/FirebirdQuery.h"

namespace kwlookup {

/// "firebird:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'".
using FirebirdLookup = ServerLookup<FirebirdConfig, FirebirdQuery, ServerSet<FirebirdConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::FirebirdLookup(log);
}
