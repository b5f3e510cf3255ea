// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "plugins/mysql/MysqlConfig.h"
#include "plugins/mysql/MysqlConnection.h"
#include "plugins/mysql/MysqlQuery.h"

namespace kwlookup {

/// "mysql:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'".
using MysqlLookup = ServerLookup<MysqlConfig, MysqlQuery, ServerSet<MysqlConnection>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::MysqlLookup(log);
}
