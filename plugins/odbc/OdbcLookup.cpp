// SPDX-License-Identifier: MIT
#include "families/servers/ServerSet.h"
#include "families/servers/ServerStorage.h"
#include "families/servers/ThreadedConnection.h"
#include "families/sql/InsertStatement.h"
#include "families/sql/SelectQuery.h"
#include "plugins/odbc/OdbcConfig.h"
#include "plugins/odbc/OdbcSession.h"

#include <memory>
#include <string>

namespace kwlookup {

/// The statement of an item. OdbcStatement makes its text, because the driver decides how names are
/// quoted.
class OdbcQuery : public SelectQuery {
public:
    OdbcQuery(const std::string& text, const OdbcConfig&)
        : OdbcQuery(text, std::make_shared<const SelectStatement>(text)) {}

    const std::shared_ptr<const SelectStatement>& GetStatement() const { return m_select; }

private:
    OdbcQuery(const std::string& text, const std::shared_ptr<const SelectStatement>& select)
        : SelectQuery(text, *select, std::string()), m_select(select) {}

    std::shared_ptr<const SelectStatement> m_select;
};

/// "odbc:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'", or as a storage
/// "odbc:insert into TABLE values (:NAME<TYPE>[, ...])".
using OdbcLookup = ServerStorage<OdbcConfig, OdbcQuery, InsertStatement,
                                 ServerSet<ThreadedConnection<OdbcSession>>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::OdbcLookup(log);
}
