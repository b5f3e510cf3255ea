// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "plugins/postgres/PostgresConfig.h"
#include "plugins/postgres/PostgresConnection.h"
#include "plugins/postgres/PostgresQuery.h"

namespace kwlookup {

/// "postgres:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'".
using PostgresLookup = ServerLookup<PostgresConfig, PostgresQuery, ServerSet<PostgresConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::PostgresLookup(log);
}
