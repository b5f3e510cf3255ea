// SPDX-License-Identifier: MIT
#include "objects/KwObjectHolder.h"

#include "host/IfConfLoader.h"
#include "host/LogText.h"
#include "lookup/KwIfSharedLookup.h"
#include "objects/LogErrorNoThrow.h"
#include "objects/ObjectLib.h"
#include "objects/RegistryLock.h"

#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace {

/// Releases an acquired loader when a load ends, however it ends.
class LoaderRelease {
public:
    LoaderRelease(IfConfLoader& loader, const LogClass& log) : m_loader(loader), m_log(log) {}
    LoaderRelease(const LoaderRelease&) = delete;
    LoaderRelease& operator=(const LoaderRelease&) = delete;
    ~LoaderRelease() {
        // The load is over, well or badly; a failure to release changes nothing about it.
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
    const std::string section = "lookup_" + type;
    if (!loader->LoadSection(0, section, 0, std::string(), 0, holder, log))
        throw std::domain_error("error in reading configuration for " + type);
    if (log.isDebugEnabled())
        LogText(log, log4cxx::Level::LEVEL_DEBUG, "Success load configuration for " + section);
}

void KwObjectHolder::ReloadLib(ObjectLib& lib, const LogClass& log) {
    const auto creator =
        reinterpret_cast<PluginCreator>(lib.m_dl.Resolve("CreateLookup", lib.m_name));
    const std::unique_ptr<KwIfSharedLookup> object(creator(log));
    if (!object)
        throw std::domain_error("Can`t create " + lib.m_name);
    object->InitLog(log);
    if (!object->IsNeedCofigLoading())
        return;
    if (lib.m_config_loaded) {
        if (log.isDebugEnabled())
            LogText(log, log4cxx::Level::LEVEL_DEBUG,
                    "KwObjectHolder: configuration for library " + lib.m_name + " already loaded");
        return;
    }
    if (m_conf_loader.expired())
        throw std::invalid_argument("can`t use " + lib.m_name + " without configuration loading");
    const LogClass* own_log = object->GetLogPtr();
    LoadConfig(lib.m_name, object.get(), own_log ? *own_log : log);
    lib.m_config_loaded = true;
}

void KwObjectHolder::BeforeReload(LogClass& log) {
    const RegistryLock lock;
    for (ObjectLib& lib : m_loaded_libs)
        lib.m_config_loaded = false;
    AfterReload(log);
    for (ObjectLib& lib : m_loaded_libs) {
        try {
            ReloadLib(lib, log);
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
