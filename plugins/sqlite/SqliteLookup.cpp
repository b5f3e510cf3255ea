// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteLookup.h"

#include <utility>

namespace kwlookup {

SqliteLookup::Query::Query(const std::string& statement_text, const SqliteConfig& config)
    : text(statement_text), select(statement_text), value(select.GetTemplate()),
      statement(select.Text('"', "?1")), database(config.GetDatabase()),
      timeout(config.GetTimeout()), search_time(config.GetSearchTime()),
      max_rows(config.GetMaxRows()) {}

std::string SqliteLookup::GetDescription() const {
    return m_query ? m_query->text : std::string();
}

void SqliteLookup::Load(const std::string& text) {
    m_query = std::make_unique<const Query>(text, GetConfig());
}

bool SqliteLookup::Search(const KwLookupFinder& finder, int flags, std::string* res,
                          std::string* matched) const {
    const Query& query = *m_query;
    std::string value;
    if (!query.value.Expand(*this, finder, flags, value))
        return false;
    SqliteConnection& connection = query.connections.Get().Get([&query] {
        return std::make_unique<SqliteConnection>(query.database, query.statement, query.timeout,
                                                  query.search_time);
    });
    std::string result;
    Values values(res ? &result : nullptr);
    if (!connection.Find(value, query.max_rows, values))
        return false;
    if (res)
        *res = std::move(result);
    if (matched)
        *matched = std::move(value);
    return true;
}

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::SqliteLookup(log);
}
