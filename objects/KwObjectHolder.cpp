// SPDX-License-Identifier: MIT
#include "objects/KwObjectHolder.h"

#include "conf/ConfParser.h"
#include "host/IfConfLoader.h"
#include "host/LogText.h"
#include "lookup/KwIfSharedObject.h"
#include "objects/ObjectLib.h"
#include "objects/PluginSection.h"
#include "objects/RegistryLock.h"
#include "text/LocaleBytes.h"

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

using namespace kwlookup;

/// Writes the joined pieces at error level. A failure to log must not stop the caller.
void LogErrorNoThrow(const LogClass& log, std::initializer_list<std::string_view> pieces) noexcept {
    try {
        if (!log.isErrorEnabled())
            return;
        std::string text;
        for (const std::string_view piece : pieces)
            text += piece;
        LogText(log, log4cxx::Level::LEVEL_ERROR, text);
    } catch (...) {
    }
}

/// Releases an acquired loader at the end of a load, also after an exception.
class LoaderRelease {
public:
    LoaderRelease(IfConfLoader& loader, const LogClass& log) : m_loader(loader), m_log(log) {}
    LoaderRelease(const LoaderRelease&) = delete;
    LoaderRelease& operator=(const LoaderRelease&) = delete;
    ~LoaderRelease() {
        // A failure to release does not change the result of the load.
        try {
            m_loader.ReleaseLoader();
        } catch (const std::exception& error) {
            LogErrorNoThrow(m_log, {FAILED, error.what()});
        } catch (...) {
            LogErrorNoThrow(m_log, {FAILED, "unknown error"});
        }
    }

private:
    static constexpr std::string_view FAILED = "Error in releasing the configuration loader: ";

    IfConfLoader& m_loader;
    const LogClass& m_log;
};

} // namespace

boost::ptr_vector<KwObjectHolder::ObjectLib> KwObjectHolder::m_loaded_libs;
boost::mutex KwObjectHolder::m_lock;
std::vector<std::string> KwObjectHolder::m_errors;
boost::weak_ptr<IfConfLoader> KwObjectHolder::m_conf_loader;

/// The item whose object a thread is making. They nest: the settings of an item may have a list.
class [[gnu::visibility("hidden")]] KwObjectHolder::CurrentItem {
public:
    CurrentItem(const KwObjectHolder& holder, const std::string& text)
        : m_holder(holder), m_text(text), m_outer(std::exchange(t_innermost, this)) {}
    CurrentItem(const CurrentItem&) = delete;
    CurrentItem& operator=(const CurrentItem&) = delete;
    ~CurrentItem() {
        t_innermost = m_outer;
    }

    static const CurrentItem* Get() {
        return t_innermost;
    }
    std::string ErrorText(const std::string& reason) const {
        return m_holder.ErrorText(m_text, reason);
    }

private:
    static thread_local const CurrentItem* t_innermost;

    const KwObjectHolder& m_holder;
    const std::string& m_text;
    const CurrentItem* const m_outer;
};

thread_local const KwObjectHolder::CurrentItem* KwObjectHolder::CurrentItem::t_innermost = nullptr;

KwObjectHolder::KwObjectHolder(Filter filter, const LogClass& log)
    : m_filter(filter), m_log(&log) {}

KwObjectHolder::~KwObjectHolder() = default;

std::string KwObjectHolder::GetDescription() const {
    return m_init;
}

void KwObjectHolder::InitLog(const LogClass&) {}

const LogClass* KwObjectHolder::GetLogPtr() const {
    return m_log;
}

void KwObjectHolder::ParseObject(const std::string& item, std::string& type, std::string& params) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const std::size_t colon = item.find(':');
    const auto type_end = item.begin() + (colon == std::string::npos ? 0 : colon);
    if (colon == std::string::npos ||
        std::any_of(item.begin(), type_end, [&](char c) { return bytes.IsSpace(c); })) {
        type.clear();
        params = item;
        return;
    }
    type.resize(colon);
    std::transform(item.begin(), type_end, type.begin(), [&](char c) { return bytes.Lower(c); });
    if (type == "value")
        type.clear();
    params.assign(item, colon + 1, std::string::npos);
}

void KwObjectHolder::Init(const std::string& objects) {
    m_init = objects;
    ClearObjects();
    std::vector<std::string> items;
    ConfParser::SplitVector(m_init, items, ',');
    for (const std::string& item : items) {
        try {
            const CurrentItem current(*this, item);
            InitItem(item);
        } catch (const std::exception& error) {
            CollectError(item, error.what());
        }
    }
}

void KwObjectHolder::InitItem(const std::string& item) {
    std::string type;
    std::string params;
    ParseObject(item, type, params);
    if (type.empty()) {
        AddObject(GetDefObject(params));
        return;
    }
    if (m_filter == BuiltinOnly && type != "file" && type != "value")
        throw std::invalid_argument("can`t use this " + GetNameForLog() + " here");
    void* added = nullptr;
    std::unique_ptr<KwIfObject> object(GetObjectByName(type, params, added));
    if (!object) {
        LoadFromDynamicLibrary(type, params);
        return;
    }
    object->InitLog(*m_log);
    if (m_log->isDebugEnabled())
        LogText(*m_log, log4cxx::Level::LEVEL_DEBUG,
                "KwObjectHolder: Success create " + GetNameForLog() + " with name '" + type +
                    "' and params '" + params + "'");
    object->Init(params);
    object.release();
    AddObject(added);
}

void KwObjectHolder::CollectError(const std::string& item, const char* reason) const {
    const std::string text = ErrorText(item, reason);
    LogErrorNoThrow(*m_log, {text});
    AddError(text);
}

std::string KwObjectHolder::ErrorText(const std::string& item, const std::string& reason) const {
    return "Error in init " + GetNameForLog() + " [" + item + "]: " + reason;
}

void KwObjectHolder::AddError(const std::string& text) {
    const RegistryLock lock;
    m_errors.push_back(text);
}

void KwObjectHolder::CollectItemError(const std::string& reason) {
    if (const CurrentItem* item = CurrentItem::Get())
        AddError(item->ErrorText(reason));
}

std::invalid_argument KwObjectHolder::CannotUse(const std::string& type) const {
    return std::invalid_argument("can`t use " + GetNameForLog() + " " + type + " here");
}

KwObjectHolder::ObjectLib* KwObjectHolder::FindLib(const std::string& type) const {
    const auto found = std::find_if(m_loaded_libs.begin(), m_loaded_libs.end(),
                                    [&](const ObjectLib& lib) { return lib.IsEquel(type); });
    return found == m_loaded_libs.end() ? nullptr : &*found;
}

void KwObjectHolder::OpenLib(const std::string& type) const {
    DlHolder handle(ObjectLib::Open(type));
    if (m_log->isDebugEnabled())
        LogText(*m_log, log4cxx::Level::LEVEL_DEBUG,
                "load " + ObjectLib::FileName(type) + " object library");
    m_loaded_libs.push_back(new ObjectLib(type));
    m_loaded_libs.back().m_dl.TakeFrom(handle);
}

void KwObjectHolder::LoadFromDynamicLibrary(const std::string& type, const std::string& params) {
    const std::string file = ObjectLib::FileName(type);
    void* added = nullptr;
    std::unique_ptr<KwIfSharedObject> object;
    {
        const RegistryLock lock;
        // This list is a value in a configuration that is being loaded. A plug-in in it could
        // depend on itself.
        if (!lock.IsOutermost())
            throw CannotUse(type);
        ObjectLib* lib = FindLib(type);
        const bool opened_here = !lib;
        if (opened_here) {
            OpenLib(type);
            lib = FindLib(type);
        }
        void* factory = lib->m_dl.Resolve(GetNameFromLib(), file);
        object.reset(CreateObject(factory, *m_log, added));
        if (!object)
            throw std::domain_error("Can`t create " + type + ":" + params + GetNameForLog());
        if (m_conf_loader.expired() && object->IsNeedCofigLoading()) {
            object.reset();
            if (opened_here)
                m_loaded_libs.pop_back();
            throw CannotUse(type);
        }
        if (!lib->m_config_loaded) {
            object->InitLog(*m_log);
            if (object->IsNeedCofigLoading()) {
                LoadConfig(type, object.get(), *m_log);
                lib->m_config_loaded = true;
            }
        }
    }
    object->Init(params);
    object.release();
    AddObject(added);
}

void KwObjectHolder::SetConfLoader(boost::shared_ptr<IfConfLoader> loader) {
    m_conf_loader = loader;
}

void KwObjectHolder::LoadConfig(const std::string& type, InterfaceConfHolder* holder,
                                const LogClass& log) {
    const boost::shared_ptr<IfConfLoader> loader = m_conf_loader.lock();
    if (!loader)
        throw std::domain_error("can`t load configuratoin for " + type + ": no ConfLoader object");
    std::optional<LoaderRelease> release;
    if (loader->AcquireLoader())
        release.emplace(*loader, log);
    loader->PrepareLoad();
    const std::string section = PluginSection(type);
    if (!loader->LoadSection(0, section, 0, std::string(), 0, holder, log))
        throw std::domain_error("error in reading configuration for " + type);
    if (log.isDebugEnabled())
        LogText(log, log4cxx::Level::LEVEL_DEBUG, "Success load configuration for " + section);
}

void KwObjectHolder::CheckPlugin(const std::string& type) {
    const RegistryLock lock;
    ObjectLib::Unregistered(type)->m_dl.Resolve(ObjectLib::LOOKUP_CREATOR,
                                                ObjectLib::FileName(type));
}

void KwObjectHolder::CheckPluginConfig(const std::string& type, const LogClass& log) {
    const RegistryLock lock;
    ObjectLib::Unregistered(type)->Configure(log);
}

void KwObjectHolder::BeforeReload(LogClass& log) {
    const RegistryLock lock;
    for (ObjectLib& lib : m_loaded_libs)
        lib.m_config_loaded = false;
    AfterReload(log);
    for (ObjectLib& lib : m_loaded_libs) {
        try {
            lib.Configure(log);
        } catch (const std::exception& error) {
            LogErrorNoThrow(log,
                            {"Error in configuration reload for ", lib.m_name, ": ", error.what()});
        }
    }
}

void KwObjectHolder::AfterReload(LogClass& log) {
    if (m_errors.empty())
        return;
    if (log.isErrorEnabled()) {
        LogText(log, log4cxx::Level::LEVEL_ERROR, "last lookups/storage errors:");
        for (const std::string& error : m_errors)
            LogText(log, log4cxx::Level::LEVEL_ERROR, "  " + error);
    }
    m_errors.clear();
    throw std::domain_error("Errors in lookups/storage. See above.");
}
