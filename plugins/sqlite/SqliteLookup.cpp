// SPDX-License-Identifier: MIT
#include "families/files/CurrentFile.h"
#include "families/files/PerThread.h"
#include "families/sql/SelectStatement.h"
#include "families/sql/SqlStorage.h"
#include "lookup/config/KwLookupAndStorageWithConfig.h"
#include "lookup/config/PluginLookup.h"
#include "lookup/config/QueryTemplate.h"
#include "plugins/sqlite/SqliteConfig.h"
#include "plugins/sqlite/SqliteConnection.h"
#include "plugins/sqlite/SqliteWriter.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kwlookup {

/// "sqlite:select COLUMN[, ...] from TABLE where COLUMN = 'TEMPLATE'". After a match, *matched is
/// the expanded template.
///
/// Threads: any number may search at once. Each has a connection of its own.
class SqliteLookup : public PluginLookup<SqliteConfig, KwLookupAndStorageWithConfig> {
public:
    using PluginLookup::PluginLookup;

    /// The statement.
    std::string GetDescription() const override;

protected:
    void Load(const std::string& text) override;
    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override;

    SqliteDatabase::Settings GetSettings() const;

private:
    struct Query {
        Query(const std::string& statement_text, SqliteDatabase::Settings settings, int rows);

        std::string text;
        SelectStatement select;
        QueryTemplate value;
        std::string statement;
        SqliteDatabase::Settings database;
        int max_rows;
        PerThread<CurrentFile<SqliteConnection>> connections;
    };

    std::unique_ptr<const Query> m_query;
};

SqliteLookup::Query::Query(const std::string& statement_text, SqliteDatabase::Settings settings,
                           int rows)
    : text(statement_text), select(statement_text), value(select.GetTemplate()),
      statement(select.Text('"', "?1")), database(std::move(settings)), max_rows(rows) {}

std::string SqliteLookup::GetDescription() const {
    return m_query ? m_query->text : std::string();
}

SqliteDatabase::Settings SqliteLookup::GetSettings() const {
    const SqliteConfig& config = GetConfig();
    return {config.GetDatabase(), config.GetTimeout(), config.GetSearchTime()};
}

void SqliteLookup::Load(const std::string& text) {
    m_query = std::make_unique<const Query>(text, GetSettings(), GetConfig().GetMaxRows());
}

bool SqliteLookup::Search(const KwLookupFinder& finder, int flags, std::string* res,
                          std::string* matched) const {
    const Query& query = *m_query;
    std::string value;
    if (!query.value.Expand(*this, finder, flags, value))
        return false;
    SqliteConnection& connection = query.connections.Get().Get(
        [&query] { return std::make_unique<SqliteConnection>(query.database, query.statement); });
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

/// The same, or a storage "sqlite:insert into TABLE values (:NAME<TYPE>[, ...])".
///
/// Threads: any number at once. Each has connections of its own.
class SqliteStorage : public SqlStorage<SqliteLookup> {
public:
    using SqlStorage::SqlStorage;

protected:
    void LoadInsert(const InsertStatement& insert) override;
    void StoreRows(const std::vector<StoredRow>& rows, StoreProgress& progress) const override;

private:
    struct Storage {
        Storage(std::string insert, SqliteDatabase::Settings settings)
            : statement(std::move(insert)), database(std::move(settings)) {}

        std::string statement;
        SqliteDatabase::Settings database;
        PerThread<std::unique_ptr<SqliteWriter>> writers;
    };

    std::unique_ptr<const Storage> m_storage;
};

void SqliteStorage::LoadInsert(const InsertStatement& insert) {
    m_storage = std::make_unique<const Storage>(insert.Text('"', '?'), GetSettings());
}

void SqliteStorage::StoreRows(const std::vector<StoredRow>& rows, StoreProgress& progress) const {
    std::unique_ptr<SqliteWriter>& writer = m_storage->writers.Get();
    if (writer && !writer->IsOwn())
        writer.release(); // that of the parent process, leaked on purpose
    // Do not store into a file that was deleted or replaced.
    if (writer && !writer->IsCurrent())
        writer.reset();
    if (!writer)
        writer = std::make_unique<SqliteWriter>(m_storage->database, m_storage->statement);
    writer->Store(rows, progress);
}

} // namespace kwlookup

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new kwlookup::SqliteStorage(log);
}
