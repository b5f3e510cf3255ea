// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "lookup/KwIfStorage.h"
#include "objects/KwObjectHolder.h"

#include <boost/ptr_container/ptr_vector.hpp>

#include <string>

/// An ordered list of storages, made from an object list and stored into as one storage.
///
/// The host makes one for each configured list, calls Init() with the list's text (KwObjectHolder)
/// and then Store(). The holder owns its storages. Each item is of a plug-in type whose objects are
/// storages too (KwIfSharedStorage), as "sqlite" with an insert statement.
///
/// Threads: records may be stored by several threads at once, where the storages allow it, as all
/// that come with the library do; the host must not store into a holder while it fills it. Slot
/// order is part of the binary interface.
class KW_EXPORT KwStorageHolder : public KwObjectHolder, public KwIfStorage {
public:
    /// Keeps the address of `log`, which must outlive the holder.
    explicit KwStorageHolder(const LogClass& log);
    ~KwStorageHolder() override;

    using KwObjectHolder::GetDescription;
    using KwObjectHolder::GetLogPtr;
    using KwObjectHolder::Init;

    /// Hands `log` to every storage of the list; the holder's own logger stays.
    void InitLog(const LogClass& log) override;

    /// Throws std::invalid_argument "a literal value cannot be stored into".
    void* GetDefObject(const std::string& text) const override;
    /// Throws std::runtime_error "unknown id 'TYPE'" for a type that KwFactory does not know, and
    /// std::invalid_argument "the type 'TYPE' cannot be stored into" for a built-in one.
    KwIfObject* GetObjectByName(const std::string& type, const std::string& init_data,
                                void*& storage) const override;
    /// "CreateLookup": what a plug-in creates is asked whether it is a storage too.
    const char* GetNameFromLib() const override;
    /// "storage".
    const std::string& GetNameForLog() const override;
    /// Calls `creator`, a PluginCreator, and tells the object that it is a storage. Throws
    /// std::invalid_argument "this type cannot be stored into" when it is none.
    KwIfSharedObject* CreateObject(void* creator, const LogClass& log,
                                   void*& storage) const override;
    /// Appends a KwIfStorage; null is ignored.
    void AddObject(void* object) override;
    void ClearObjects() override;

    /// Stores the record into every storage, in list order, also when one fails. Then throws
    /// std::runtime_error with the reasons of all that failed, "REASON; REASON".
    ///
    /// A storage whose `OnError` is "ignore" logs its failure and throws nothing. An empty holder
    /// stores nothing.
    void Store(const KwStorageValuesMap& values) override;

    /// The storages in list order. They stay the holder's.
    boost::ptr_vector<KwIfStorage>& GetObjects() { return m_objects; }

    /// True when it holds no storage.
    bool Empty() const { return m_objects.empty(); }

private:
    boost::ptr_vector<KwIfStorage> m_objects;
};
