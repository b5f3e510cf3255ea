// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwStorageValuesMap.h"
#include "lookup/BatchStorage.h"
#include "lookup/KwStorageHolder.h"

#include <cstddef>
#include <exception>
#include <map>
#include <string>
#include <vector>

/// A record of texts.
inline KwStorageValuesMap Record(const std::map<std::string, std::string>& values) {
    KwStorageValuesMap record;
    for (const auto& [name, text] : values)
        record.m_values[name] = {KwStorageValuesMap::Varchar, text};
    return record;
}

/// Why `record` could not be stored; "" when it was.
inline std::string StoreError(KwStorageHolder& holder, const KwStorageValuesMap& record) {
    try {
        holder.Store(record);
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

/// Why the batch could not be stored into the first item, as "RECORD: REASON", with "?" before it
/// when it may be stored nevertheless; "" when it was.
inline std::string BatchError(KwStorageHolder& holder,
                              const std::vector<KwStorageValuesMap>& records) {
    try {
        dynamic_cast<kwlookup::BatchStorage&>(holder.GetObjects().front())
            .StoreBatch({records.data(), records.data() + records.size()});
    } catch (const kwlookup::BatchFault& fault) {
        return (fault.IsUnknown() ? "?" : "") + std::to_string(fault.GetRecord()) + ": " +
               fault.what();
    }
    return "";
}
