// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "lookup/KwIfLookup.h"

#include <map>
#include <string>
#include <vector>

/// The registry of type names: which built-in creator serves a type, and which types are known at
/// all. A known type without a creator is served by a plug-in library.
///
/// One registry a process, made on first use and never freed. Names are compared byte by byte.
/// Threads: types are registered during static initialisation; afterwards the registry is only
/// read.
template <typename T>
class KW_EXPORT KwFactory {
public:
    /// Makes a new object, which the caller owns, or null. Gets the init data of the item.
    using Creator = T* (*)(const std::string& init_data);

    /// The registry of the process. It is never freed.
    static KwFactory& Instance();

    /// Adds a type, `creator` null for one that plug-ins serve. The first registration of a name
    /// stays. Always true, to initialise a static bool.
    bool Register(const std::string& name, Creator creator);

    /// The creator registered under `name` (which may be null), or null for an unknown name.
    const Creator* Lookup(const std::string& name) const;

    /// The registered names in byte order.
    std::vector<std::string> GetNames() const;

private:
    KwFactory() = default;

    std::map<std::string, Creator> m_creators;
    static KwFactory* m_instance;
};

using LookupCreator = KwFactory<KwIfLookup>::Creator;

extern template class KwFactory<KwIfLookup>;
