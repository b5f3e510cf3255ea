// SPDX-License-Identifier: MIT
#include "families/servers/ServerSet.h"
#include "families/servers/ServerStorage.h"
#include "plugins/firebird/FirebirdConfig.h"
#include "plugins/firebird/FirebirdConnection.h"
#include "plugins/firebird/FirebirdInsert.h"
#include "plugins/firebird/FirebirdQuery.h"

namespace kwlookup {

/// "firebird:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'", or as a storage
/// "firebird:insert into TABLE values (:NAME<TYPE>[, ...])".
using FirebirdLookup =
    ServerStorage<FirebirdConfig, FirebirdQuery, FirebirdInsert, ServerSet<FirebirdConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::FirebirdLookup(log);
}
