// SPDX-License-Identifier: MIT
#include "objects/KwObjectHolder.h"

#include "host/IfConfLoader.h"
#include "host/LogText.h"
#include "lookup/KwIfSharedObject.h"
#include "objects/LogErrorNoThrow.h"
#include "objects/ObjectLib.h"
#include "objects/PluginSection.h"
#include "objects/RegistryLock.h"

#include <exception>
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
