// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "objects/DlHolder.h"
#include "objects/KwObjectHolder.h"

#include <memory>
#include <string>

/// A plug-in library of the process, and all that is known of such libraries: how they are named,
/// found, opened, asked for an object, and configured. Never closed once it is open: objects that
/// it made may be alive anywhere.
///
/// Threads: under the registry's lock.
class [[gnu::visibility("hidden")]] KwObjectHolder::ObjectLib {
public:
    /// The symbol of the creator of lookups.
    static constexpr char LOOKUP_CREATOR[] = "CreateLookup";

    /// Not opened yet.
    explicit ObjectLib(const std::string& name) : m_name(name) {}
    ~ObjectLib() {
        m_dl.Release();
    }

    bool IsEquel(const std::string& name) const {
        return name == m_name;
    }

    /// The file of the library of `type`.
    static std::string FileName(const std::string& type) {
        return "libkw_lookup_" + type + ".so";
    }

    /// Opens the library of `type`. Throws std::domain_error "Cannot load shared library FILE
    /// because REASON" with the loader's reason, or with one of ours for a file that would end the
    /// process in the loader.
    static void* Open(const std::string& type);

    /// An open library that is not among those of the process.
    static std::unique_ptr<ObjectLib> Unregistered(const std::string& type);

    /// Makes an object. Throws what DlHolder::Resolve() throws, and std::domain_error "Can`t create
    /// TYPE".
    std::unique_ptr<KwIfSharedLookup> MakeLookup(const LogClass& log) const;

    /// Loads the configuration of the type through a new object, when the type has one and it has
    /// not been loaded. Throws the reasons that BeforeReload() tells.
    void Configure(const LogClass& log);

    DlHolder m_dl;
    std::string m_name; ///< the type that it serves, in lower case
    bool m_config_loaded = false;
};
