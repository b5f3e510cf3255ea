// SPDX-License-Identifier: MIT
#include "lookup/KwStorageHolder.h"

#include "lookup/KwFactory.h"
#include "lookup/KwIfSharedStorage.h"
#include "lookup/VirtualTable.h"

#include <exception>
#include <memory>
#include <stdexcept>

KwStorageHolder::KwStorageHolder(const LogClass& log) : KwObjectHolder(AnyObject, log) {}

KwStorageHolder::~KwStorageHolder() = default;

void KwStorageHolder::InitLog(const LogClass& log) {
    for (KwIfStorage& storage : m_objects)
        storage.InitLog(log);
}

void* KwStorageHolder::GetDefObject(const std::string&) const {
    throw std::invalid_argument("a literal value cannot be stored into");
}

KwIfObject* KwStorageHolder::GetObjectByName(const std::string& type, const std::string&,
                                             void*& storage) const {
    const auto* creator = KwFactory<KwIfLookup>::Instance().Lookup(type);
    if (!creator)
        throw std::runtime_error("unknown id '" + type + "'");
    if (*creator)
        throw std::invalid_argument("the type '" + type + "' cannot be stored into");
    storage = nullptr;
    return nullptr;
}

const char* KwStorageHolder::GetNameFromLib() const {
    return "CreateLookup";
}

const std::string& KwStorageHolder::GetNameForLog() const {
    static const std::string name = "storage";
    return name;
}

KwIfSharedObject* KwStorageHolder::CreateObject(void* creator, const LogClass& log,
                                                void*& storage) const {
    storage = nullptr;
    // The symbol may exist with a null address.
    std::unique_ptr<KwIfSharedLookup> made(creator ? reinterpret_cast<PluginCreator>(creator)(log)
                                                   : nullptr);
    if (!made)
        return nullptr;
    auto* const shared = kwlookup::HasTypeInformation(*made)
                             ? dynamic_cast<KwIfSharedStorage*>(made.get())
                             : nullptr;
    if (!shared)
        throw std::invalid_argument("this type cannot be stored into");
    shared->SetStorage();
    made.release();
    storage = static_cast<KwIfStorage*>(shared);
    return shared;
}

void KwStorageHolder::AddObject(void* object) {
    if (object)
        m_objects.push_back(static_cast<KwIfStorage*>(object));
}

void KwStorageHolder::ClearObjects() {
    m_objects.clear();
}

void KwStorageHolder::Store(const KwStorageValuesMap& values) {
    std::string reasons;
    const auto add = [&reasons](const char* reason) {
        reasons.append(reasons.empty() ? "" : "; ").append(reason);
    };
    for (KwIfStorage& storage : m_objects) {
        try {
            storage.Store(values);
        } catch (const std::exception& error) {
            add(error.what());
        } catch (...) {
            add("an exception of unknown type was thrown");
        }
    }
    if (!reasons.empty())
        throw std::runtime_error(reasons);
}
