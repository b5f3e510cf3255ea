// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"
#include "lookup/KwIfSharedLookup.h"
#include "objects/KwObjectHolder.h"

#include <boost/ptr_container/ptr_vector.hpp>

#include <cstddef>
#include <string>

/// An ordered list of lookups, made from an object list and searched as one lookup.
///
///     KwLookupHolder list(log);
///     list.Init("root@corp.lan, file:/etc/mail/blocked");
///     const kwlookup::AddressFinder finder("jdoe@corp.lan");
///     const bool found = list.Find(finder, nullptr, 0, nullptr);
///
/// A host makes one holder for each configured list. The holder owns its lookups.
///
/// Threads: searches may run at once and take no lock. A holder must not be searched while it is
/// filled. Slot order is part of the binary interface.
class KW_EXPORT KwLookupHolder : public KwObjectHolder, public KwIfLookup {
public:
    /// Keeps the address of `log`, which must outlive the holder.
    explicit KwLookupHolder(const LogClass& log, Filter filter = AnyObject);
    ~KwLookupHolder() override;

    using KwObjectHolder::GetDescription;
    using KwObjectHolder::GetLogPtr;
    using KwObjectHolder::Init;

    /// Sets the logger of every lookup in the list. The holder keeps its own.
    void InitLog(const LogClass& log) override;

    /// Makes a KwStrLookup.
    void* GetDefObject(const std::string& text) const override;
    /// Throws std::runtime_error "unknown id 'TYPE'" for a type that KwFactory does not know.
    KwIfObject* GetObjectByName(const std::string& type, const std::string& init_data,
                                void*& lookup) const override;
    /// Returns "CreateLookup".
    const char* GetNameFromLib() const override;
    /// Returns "lookup".
    const std::string& GetNameForLog() const override;
    /// Calls `creator`, a PluginCreator.
    KwIfSharedObject* CreateObject(void* creator, const LogClass& log,
                                   void*& lookup) const override;
    /// Appends a KwIfLookup. Ignores null.
    void AddObject(void* object) override;
    void ClearObjects() override;

    /// Searches the lookups in list order. Returns true when one matched.
    ///
    /// With a null `res` it stops at the first match. Otherwise it searches every lookup and
    /// appends each non-empty result to `*res`, after a blank; `*res` is never cleared. `matched`,
    /// unless null, is passed to every lookup, so it holds the value of the last match. Each match
    /// is logged at debug level, "KwLookupHolder::Find: found TEXT matched with VALUE (from
    /// DESCRIPTION)", through the lookup's own logger or, without one, the holder's. Exceptions of
    /// lookups pass through.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

    /// Calls KwVectorStrLookup::Fetch() of each "file" item, before searches for `finders`. Other
    /// items are left alone.
    void Fetch(const KwLookupFinder* const* finders, std::size_t count, int flags) const noexcept;

    /// Returns the lookups in search order. The holder owns them.
    const boost::ptr_vector<KwIfLookup>& GetObjects() const { return m_objects; }

    /// Returns true when it holds no lookup.
    bool Empty() const { return m_objects.empty(); }

private:
    boost::ptr_vector<KwIfLookup> m_objects;
};
