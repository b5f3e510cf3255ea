// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "families/servers/ThreadedConnection.h"
#include "families/sql/SelectQuery.h"
#include "plugins/oracle/OracleConfig.h"
#include "plugins/oracle/OracleSession.h"
#include "plugins/oracle/OracleStatement.h"

#include <memory>
#include <string>

namespace kwlookup {

/// The statement of an item, in Oracle's dialect.
class OracleQuery : public SelectQuery {
public:
    OracleQuery(const std::string& text, const OracleConfig& config)
        : OracleQuery(text, Folded(text), config.GetVal<int>("MaxRows")) {}

    const std::shared_ptr<const OracleTexts>& GetStatement() const { return m_texts; }

private:
    OracleQuery(const std::string& text, const SelectStatement& select, int max_rows)
        : SelectQuery(text, select, std::string()),
          m_texts(std::make_shared<const OracleTexts>(OracleTexts{
              select.Text('"', ":1") +
                  " and rownum <= " + std::to_string(static_cast<long long>(max_rows) + 1),
              select.TypeText('"')})) {}

    static SelectStatement Folded(const std::string& text) {
        SelectStatement select(text);
        select.FoldNames();
        return select;
    }

    std::shared_ptr<const OracleTexts> m_texts;
};

/// "oracle:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'".
using OracleLookup =
    ServerLookup<OracleConfig, OracleQuery, ServerSet<ThreadedConnection<OracleSession>>>;

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::OracleLookup(log);
}
