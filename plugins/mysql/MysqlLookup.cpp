// SPDX-License-Identifier: MIT
#include "families/servers/ServerSet.h"
#include "families/servers/ServerStorage.h"
#include "plugins/mysql/MysqlConfig.h"
#include "plugins/mysql/MysqlConnection.h"
#include "plugins/mysql/MysqlInsert.h"
#include "plugins/mysql/MysqlQuery.h"

namespace kwlookup {

/// "mysql:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'", or as a storage
/// "mysql:insert into TABLE values (:NAME<TYPE>[, ...])".
using MysqlLookup = ServerStorage<MysqlConfig, MysqlQuery, MysqlInsert, ServerSet<MysqlConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::MysqlLookup(log);
}
