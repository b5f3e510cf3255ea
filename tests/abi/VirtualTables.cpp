// SPDX-License-Identifier: MIT
// The classes whose virtual tables are compared with virtual_tables.txt, in its order.
// Compiled by compare_virtual_tables.sh only.
#include "conf/ConfParser.h"
#include "host/IfConfLoader.h"
#include "lookup/BatchStorage.h"
#include "lookup/KeyedFinder.h"
#include "lookup/KwIfSharedStorage.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/KwStorageHolder.h"
#include "lookup/builtin/KwDomainsLookup.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/KwStrLookup.h"
#include "lookup/config/KwLookupAndStorageWithConfig.h"
#include "sql/KwSQLParser.h"

/// Overrides only the destructor, so that its table is that of Class.
template <typename Class>
struct Probe : Class {
    ~Probe() override;
};

template <typename Class>
Probe<Class>::~Probe() = default;

template struct Probe<KwIfObject>;
template struct Probe<KwIfLookup>;
template struct Probe<KwIfStorage>;
template struct Probe<InterfaceConfHolder>;
template struct Probe<KwIfSharedObject>;
template struct Probe<KwIfSharedLookup>;
template struct Probe<KwIfSharedStorage>;
template struct Probe<KwLookupFinder>;
template struct Probe<kwlookup::KeyedFinder>;
template struct Probe<KwObjectHolder>;
template struct Probe<KwLookupHolder>;
template struct Probe<KwStorageHolder>;
template struct Probe<kwlookup::BatchStorage>;
template struct Probe<KwDomainsLookup>;
template struct Probe<KwStrLookup>;
template struct Probe<KwVectorStrLookup>;
template struct Probe<KwFileLookup>;
template struct Probe<IfConfLoader>;
template struct Probe<IfConfParser>;
template struct Probe<ConfParser>;
template struct Probe<KwLookupSharedConf>;
template struct Probe<KwLookupWithConfig>;
template struct Probe<KwLookupAndStorageWithConfig>;
template struct Probe<KwSQLParser>;
