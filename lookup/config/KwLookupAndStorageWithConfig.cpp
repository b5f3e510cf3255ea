// SPDX-License-Identifier: MIT
#include "lookup/config/KwLookupAndStorageWithConfig.h"

KwLookupAndStorageWithConfig::KwLookupAndStorageWithConfig(KwLookupSharedConf* conf)
    : KwLookupWithConfig(conf), m_is_storage(false) {}

KwLookupAndStorageWithConfig::~KwLookupAndStorageWithConfig() = default;

void KwLookupAndStorageWithConfig::SetStorage() {
    m_is_storage = true;
}
