// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/CurrentFile.h"
#include "families/files/PerThread.h"
#include "families/sql/SelectStatement.h"
#include "lookup/config/PluginLookup.h"
#include "lookup/config/QueryTemplate.h"
#include "plugins/sqlite/SqliteConfig.h"
#include "plugins/sqlite/SqliteConnection.h"

#include <memory>
#include <string>

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

} // namespace kwlookup
