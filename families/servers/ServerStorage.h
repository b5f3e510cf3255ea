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

/// A lookup and storage that asks SQL servers: a ServerLookup whose type brings besides
///
///   - `Insert`, what an item stores: a constructor from (const InsertStatement&);
///   - in its `Source`, `Store(const Insert&, const std::vector<StoredRow>&,
///     std::chrono::milliseconds timeout, StoreProgress&)`, which stores all rows in one
///     transaction, and throws as its Ask() does. With ServerSet it is the `Connection` that has
///     it: there `timeout` is for each statement, and `committing` is to be set before the server
///     is told to keep the rows. What was not committed when a connection is lost is stored once
///     more with another one, so it must be lost to the server then.
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
