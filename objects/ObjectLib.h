// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "objects/DlHolder.h"
#include "objects/KwObjectHolder.h"

#include <memory>
#include <string>

/// One plug-in library of the process. Knows how such a library is named, found, opened and
/// configured, and how it creates objects. An open library is never closed, since objects that it
/// created may live in any holder.
///
/// Threads: under the registry's lock.
class [[gnu::visibility("hidden")]] KwObjectHolder::ObjectLib {
public:
    /// The symbol of the creator of lookups.
    static constexpr char LOOKUP_CREATOR[] = "CreateLookup";

    /// The symbol of the major version that a library was built for; see lookup/PluginVersion.h.
    static constexpr char LOOKUP_VERSION[] = "LookupVersion";

    /// Not opened yet.
    explicit ObjectLib(const std::string& name) : m_name(name) {}
    ~ObjectLib() {
        m_dl.Release();
    }

    bool IsEquel(const std::string& name) const {
        return name == m_name;
    }

    /// Returns the file name of the library for `type`.
    static std::string FileName(const std::string& type) {
        return "libkw_lookup_" + type + ".so";
    }

    /// Opens the library for `type`. Throws std::domain_error "Cannot load shared library FILE
    /// because REASON" with the loader's reason, or with ours for a file that would crash the
    /// process in the loader, or that was built for another major version of this library.
    static void* Open(const std::string& type);

    /// Opens the library for `type` without registering it.
    static std::unique_ptr<ObjectLib> Unregistered(const std::string& type);

    /// Makes an object. Throws what DlHolder::Resolve() throws and std::domain_error "Can`t create
    /// TYPE".
    std::unique_ptr<KwIfSharedLookup> MakeLookup(const LogClass& log) const;

    /// Loads the configuration of the type through a new object, unless it is loaded or the type
    /// has none. Throws the reasons listed at BeforeReload().
    void Configure(const LogClass& log);

    DlHolder m_dl;
    std::string m_name; ///< the type, in lower case
    bool m_config_loaded = false;
};
