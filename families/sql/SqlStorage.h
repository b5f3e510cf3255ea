// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/InsertStatement.h"
#include "families/sql/StoreProgress.h"
#include "lookup/BatchStorage.h"
#include "lookup/KwLookupFinder.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kwlookup {

/// A lookup that SetStorage() makes a storage with an insert statement.
///
/// `Lookup` is a PluginLookup, or derived from one, whose `Base` is KwLookupAndStorageWithConfig. A
/// type implements LoadInsert() and StoreRows().
///
/// Threads: searches may run at once, and so may the storing of records.
template <typename Lookup>
class SqlStorage : public Lookup, public BatchStorage {
public:
    using Lookup::Lookup;

    /// The text of the statement.
    std::string GetDescription() const override {
        return m_insert ? m_insert->GetText() : Lookup::GetDescription();
    }

    /// Throws std::logic_error "a storage cannot be searched" after SetStorage().
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override {
        if (this->m_is_storage)
            throw std::logic_error("a storage cannot be searched");
        return Lookup::Find(finder, res, flags, matched);
    }

    /// If the record cannot be stored, `OnError = exception` throws the reason. Otherwise "SECTION:
    /// REASON" is logged at error level.
    void Store(const KwStorageValuesMap& values) override {
        try {
            StoreBatch(Records(&values, &values + 1));
        } catch (const std::exception& error) {
            this->Fail(error);
        }
    }

    void StoreBatch(const Records& records) override {
        StoreProgress progress;
        try {
            if (!m_insert)
                throw std::logic_error("a lookup cannot be stored into");
            std::vector<StoredRow> rows = TakeRows();
            rows.resize(records.size());
            for (const KwStorageValuesMap& record : records) {
                m_insert->Convert(record, rows[progress.row]);
                ++progress.row;
            }
            progress.row = 0;
            if (!rows.empty())
                StoreRows(rows, progress);
            KeepRows(std::move(rows));
        } catch (const std::exception& error) {
            throw BatchFault(error.what(), progress.row, progress.unknown);
        }
    }

protected:
    void Load(const std::string& text) override {
        if (!this->m_is_storage) {
            Lookup::Load(text);
            return;
        }
        auto insert = std::make_unique<const InsertStatement>(text);
        LoadInsert(*insert);
        m_insert = std::move(insert);
    }

    /// Loads a storage, as Load() loads a lookup.
    virtual void LoadInsert(const InsertStatement& insert) = 0;

    /// Stores all of `rows`, at least one, in one transaction: all of them or none. If it throws,
    /// `progress` says how far it got.
    virtual void StoreRows(const std::vector<StoredRow>& rows, StoreProgress& progress) const = 0;

private:
    /// Longer texts are not kept for the next batch.
    static constexpr std::size_t LONG_TEXT = 4096;

    std::vector<StoredRow> TakeRows() {
        const std::lock_guard<std::mutex> lock(m_lock);
        return std::exchange(m_rows, {});
    }

    void KeepRows(std::vector<StoredRow> rows) {
        for (const StoredRow& row : rows)
            for (const StoredValue& value : row)
                if (value.text.capacity() > LONG_TEXT)
                    return;
        const std::lock_guard<std::mutex> lock(m_lock);
        m_rows = std::move(rows);
    }

    std::unique_ptr<const InsertStatement> m_insert;
    std::mutex m_lock;
    /// Those of an earlier batch. To reuse their memory takes a fifth off the time of a batch.
    std::vector<StoredRow> m_rows;
};

} // namespace kwlookup
