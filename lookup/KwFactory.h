// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"
#include "lookup/KwIfLookup.h"

#include <map>
#include <string>
#include <vector>

/// The registry of type names. A built-in type has a creator. A type without one is served by a
/// plug-in library.
///
///     KwFactory<KwIfLookup>::Instance().Register("path", nullptr); // libkw_lookup_path.so
///
/// There is one registry in a process, made on first use and never freed. Names are compared byte
/// by byte.
/// Threads: register types before any other thread uses the registry; afterwards it is only read.
template <typename T>
class KW_EXPORT KwFactory {
public:
    /// Makes an object from the init data of an item. The caller owns it. May return null.
    using Creator = T* (*)(const std::string& init_data);

    /// Returns the registry of the process.
    static KwFactory& Instance();

    /// Adds a type. `creator` is null for a type that a plug-in serves. A name that is registered
    /// already keeps its creator. Always returns true, so that a static bool can be initialised
    /// with it.
    bool Register(const std::string& name, Creator creator);

    /// Returns a pointer to the creator registered under `name`, which may itself be null. Returns
    /// null for an unknown name.
    const Creator* Lookup(const std::string& name) const;

    /// Returns the registered names in byte order.
    std::vector<std::string> GetNames() const;

private:
    KwFactory() = default;

    std::map<std::string, Creator> m_creators;
    static KwFactory* m_instance;
};

using LookupCreator = KwFactory<KwIfLookup>::Creator; ///< Makes an object of a type.

extern template class KwFactory<KwIfLookup>;
