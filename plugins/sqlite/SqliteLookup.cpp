// SPDX-License-Identifier: MIT
#include "families/files/CurrentFile.h"
#include "families/files/PerThread.h"
#include "families/sql/SelectStatement.h"
#include "lookup/config/PluginLookup.h"
#include "lookup/config/QueryTemplate.h"
#include "plugins/sqlite/SqliteConfig.h"
#include "plugins/sqlite/SqliteConnection.h"

#include <memory>
#include <string>
#include <utility>

namespace kwlookup {

/// "sqlite:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'". The value that was asked for
/// is what stands in *matched after a match.
///
/// Threads: searches may run at once; each thread has a connection of its own.
class SqliteLookup : public PluginLookup<SqliteConfig> {
public:
    using PluginLookup::PluginLookup;

    /// The statement.
    std::string GetDescription() const override;

protected:
    void Load(const std::string& text) override;
    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override;

private:
    struct Query {
        Query(const std::string& text, const SqliteConfig& config);

        std::string text;
        SelectStatement select;
        QueryTemplate value;
        std::string statement;
        std::string database;
        int timeout;
        int search_time;
        int max_rows;
        PerThread<CurrentFile<SqliteConnection>> connections;
    };

    std::unique_ptr<const Query> m_query;
};

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
