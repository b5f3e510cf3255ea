// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedStorage.h"
#include "lookup/config/KwLookupWithConfig.h"

/// The base of plug-in objects that are searched and stored into.
class KW_EXPORT KwLookupAndStorageWithConfig : public KwLookupWithConfig, public KwIfSharedStorage {
public:
    /// As KwLookupWithConfig.
    explicit KwLookupAndStorageWithConfig(KwLookupSharedConf* conf);
    ~KwLookupAndStorageWithConfig() override;

    /// Notes that the object is used as a storage.
    void SetStorage() override;

protected:
    bool m_is_storage; ///< true after SetStorage()
};
