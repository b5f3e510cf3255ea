// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/PerProcess.h"
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSettings.h"
#include "families/sql/SqlStorage.h"
#include "lookup/config/KwLookupAndStorageWithConfig.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// A lookup and storage for SQL servers: a ServerLookup whose type also provides
///
///   - `Insert`, the insert statement: a constructor from (const InsertStatement&);
///   - in `Source`, `Store(const Insert&, const std::vector<StoredRow>&, std::chrono::milliseconds
///     timeout, StoreProgress&)`, which stores all rows in one transaction, and throws what its
///     Ask() throws.
///
/// With ServerSet, the `Connection` provides Store(). It has a StoreTime instead of `timeout`,
/// and `committing` must be set before the commit. If the connection is lost before that, all rows
/// are stored again over another connection, so the server must have discarded them.
template <typename Config, typename Query, typename Insert, typename Source>
class ServerStorage
    : public SqlStorage<ServerLookup<Config, Query, Source, KwLookupAndStorageWithConfig>> {
    using Base = SqlStorage<ServerLookup<Config, Query, Source, KwLookupAndStorageWithConfig>>;

public:
    using Base::Base;

protected:
    void LoadInsert(const InsertStatement& insert) override {
        const auto settings =
            std::make_shared<const ServerSettings>(this->GetConfig().GetSettings());
        m_storage = std::make_unique<const Storage>(
            Storage{Insert(insert), settings->timeout, this->SharedSource(settings)});
        this->WarnOfTls(*settings);
    }

    void StoreRows(const std::vector<StoredRow>& rows, StoreProgress& progress) const override {
        m_storage->source->Get()->Store(m_storage->insert, rows, m_storage->timeout, progress);
    }

private:
    struct Storage {
        Insert insert;
        std::chrono::milliseconds timeout;
        std::shared_ptr<PerProcess<Source>> source;
    };

    std::unique_ptr<const Storage> m_storage;
};

} // namespace kwlookup
