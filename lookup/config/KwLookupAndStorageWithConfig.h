// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedStorage.h"
#include "lookup/config/KwLookupWithConfig.h"

/// The base of configurable plug-in objects that are both a lookup and a storage.
class KW_EXPORT KwLookupAndStorageWithConfig : public KwLookupWithConfig, public KwIfSharedStorage {
public:
    /// Passes `conf` to KwLookupWithConfig.
    explicit KwLookupAndStorageWithConfig(KwLookupSharedConf* conf);
    ~KwLookupAndStorageWithConfig() override;

    /// Records that the object is used for storing.
    void SetStorage() override;

protected:
    bool m_is_storage; ///< true after SetStorage()
};
