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
/// The host makes one for each configured list, calls Init() with the list's text (KwObjectHolder)
/// and then Find(). The holder owns its lookups.
///
/// Threads: searches may run at once and take no lock; the host must not search a holder while it
/// fills it. Slot order is part of the binary interface.
class KW_EXPORT KwLookupHolder : public KwObjectHolder, public KwIfLookup {
public:
    /// Keeps the address of `log`, which must outlive the holder.
    explicit KwLookupHolder(const LogClass& log, Filter filter = AnyObject);
    ~KwLookupHolder() override;

    using KwObjectHolder::GetDescription;
    using KwObjectHolder::GetLogPtr;
    using KwObjectHolder::Init;

    /// Hands `log` to every lookup of the list; the holder's own logger stays.
    void InitLog(const LogClass& log) override;

    /// A new KwStrLookup.
    void* GetDefObject(const std::string& text) const override;
    /// Throws std::runtime_error "unknown id 'TYPE'" for a type that KwFactory does not know.
    KwIfObject* GetObjectByName(const std::string& type, const std::string& init_data,
                                void*& lookup) const override;
    /// "CreateLookup".
    const char* GetNameFromLib() const override;
    /// "lookup".
    const std::string& GetNameForLog() const override;
    /// Calls `creator`, a PluginCreator.
    KwIfSharedObject* CreateObject(void* creator, const LogClass& log,
                                   void*& lookup) const override;
    /// Appends a KwIfLookup; null is ignored.
    void AddObject(void* object) override;
    void ClearObjects() override;

    /// Asks the lookups in list order; true when one matched.
    ///
    /// With `res` null it stops at the first match. Otherwise it asks every lookup and appends each
    /// non-empty result after a blank; `*res` is never cleared. `matched`, when not null, is handed
    /// to every lookup, so the last one that matched has written it. Each match is logged at debug
    /// level, "KwLookupHolder::Find: found TEXT matched with VALUE (from DESCRIPTION)", through the
    /// lookup's own logger or else the holder's. What a lookup throws is not caught.
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string* matched) const override;

    /// KwVectorStrLookup::Fetch() for the "file" items of the list, as it is called when `finders`
    /// are about to be searched for. Other items are not asked.
    void Fetch(const KwLookupFinder* const* finders, std::size_t count, int flags) const noexcept;

    /// The lookups in search order. They stay the holder's.
    const boost::ptr_vector<KwIfLookup>& GetObjects() const { return m_objects; }

    /// True when it holds no lookup.
    bool Empty() const { return m_objects.empty(); }

private:
    boost::ptr_vector<KwIfLookup> m_objects;
};
