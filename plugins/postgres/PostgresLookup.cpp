// SPDX-License-Identifier: MIT
#include "families/servers/ServerSet.h"
#include "families/servers/ServerStorage.h"
#include "plugins/postgres/PostgresConfig.h"
#include "plugins/postgres/PostgresConnection.h"
#include "plugins/postgres/PostgresInsert.h"
#include "plugins/postgres/PostgresQuery.h"

namespace kwlookup {

/// "postgres:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'", or as a storage
/// "postgres:insert into TABLE values (:NAME<TYPE>[, ...])".
using PostgresLookup =
    ServerStorage<PostgresConfig, PostgresQuery, PostgresInsert, ServerSet<PostgresConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::PostgresLookup(log);
}
