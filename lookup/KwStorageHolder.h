// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"
#include "lookup/KwIfStorage.h"
#include "objects/KwObjectHolder.h"

#include <boost/ptr_container/ptr_vector.hpp>

#include <string>

/// An ordered list of storages, made from an object list and used as one storage.
///
///     KwStorageHolder storages(log);
///     storages.Init("\"sqlite:Database=/var/mail/log.db|insert into seen values (:a<varchar>)\"");
///     storages.Store(values);
///
/// A host makes one holder for each configured list. The holder owns its storages. The type of each
/// item must be a plug-in type whose objects can store (KwIfSharedStorage).
///
/// Threads: several threads may call Store() at once if all storages allow it, as those of the
/// plug-ins in this tree do. No thread may store while the holder is filled. Slot order is part of
/// the binary interface.
class KW_EXPORT KwStorageHolder : public KwObjectHolder, public KwIfStorage {
public:
    /// Keeps the address of `log`, which must outlive the holder.
    explicit KwStorageHolder(const LogClass& log);
    ~KwStorageHolder() override;

    using KwObjectHolder::GetDescription;
    using KwObjectHolder::GetLogPtr;
    using KwObjectHolder::Init;

    /// Sets the logger of every storage in the list. The holder keeps its own.
    void InitLog(const LogClass& log) override;

    /// Throws std::invalid_argument "a literal value cannot be stored into".
    void* GetDefObject(const std::string& text) const override;
    /// Throws std::runtime_error "unknown id 'TYPE'" for a type that KwFactory does not know, and
    /// std::invalid_argument "the type 'TYPE' cannot be stored into" for a built-in one.
    KwIfObject* GetObjectByName(const std::string& type, const std::string& init_data,
                                void*& storage) const override;
    /// Returns "CreateLookup". The objects of plug-ins are lookups that may also be storages.
    const char* GetNameFromLib() const override;
    /// Returns "storage".
    const std::string& GetNameForLog() const override;
    /// Calls `creator`, a PluginCreator, and SetStorage() of the object. Throws
    /// std::invalid_argument "this type cannot be stored into" when the object is not a storage.
    KwIfSharedObject* CreateObject(void* creator, const LogClass& log,
                                   void*& storage) const override;
    /// Appends a KwIfStorage. Ignores null.
    void AddObject(void* object) override;
    void ClearObjects() override;

    /// Stores the record in every storage, in list order. When some of them fail, it still calls
    /// the others, and then throws std::runtime_error with all reasons, "REASON; REASON". For what
    /// is not a std::exception the reason is "an exception of unknown type was thrown".
    ///
    /// A storage with `OnError = ignore` logs its failure and does not throw. An empty holder
    /// stores nothing.
    void Store(const KwStorageValuesMap& values) override;

    /// Returns the storages in list order. The holder owns them.
    boost::ptr_vector<KwIfStorage>& GetObjects() { return m_objects; }

    /// Returns true when it holds no storage.
    bool Empty() const { return m_objects.empty(); }

private:
    boost::ptr_vector<KwIfStorage> m_objects;
};
