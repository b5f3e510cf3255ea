// SPDX-License-Identifier: MIT
#include "objects/ObjectLib.h"

#include "host/LogText.h"
#include "lookup/PluginVersion.h"
#include "objects/ElfFile.h"

#include <dlfcn.h>
#include <stdexcept>

namespace {

using namespace kwlookup;

std::domain_error CannotLoad(const std::string& file, const std::string& reason) {
    return std::domain_error("Cannot load shared library " + file + " because " + reason);
}

} // namespace

void* KwObjectHolder::ObjectLib::Open(const std::string& type) {
    const std::string file = FileName(type);
    if (file.find('/') != std::string::npos || file.find('\0') != std::string::npos)
        throw CannotLoad(file, "the type is not a plain name");
    const std::string path = FindSharedLibrary(file);
    const std::string fault = path.empty() ? path : WhyNotMappable(path);
    if (!fault.empty())
        throw CannotLoad(file, fault);
    ::dlerror();
    DlHolder handle(::dlopen(file.c_str(), RTLD_NOW));
    if (!handle.Get()) {
        const char* reason = ::dlerror();
        throw CannotLoad(file, reason ? reason : "unknown error");
    }
    const void* built_for = ::dlsym(handle.Get(), LOOKUP_VERSION);
    ::dlerror();
    if (built_for && *static_cast<const int*>(built_for) != MAJOR_VERSION)
        throw CannotLoad(file, "it was built for version " +
                                   std::to_string(*static_cast<const int*>(built_for)) +
                                   " of libkwlookup, and this is version " +
                                   std::to_string(MAJOR_VERSION));
    return handle.Release();
}

std::unique_ptr<KwObjectHolder::ObjectLib>
KwObjectHolder::ObjectLib::Unregistered(const std::string& type) {
    auto lib = std::make_unique<ObjectLib>(type);
    DlHolder handle(Open(type));
    lib->m_dl.TakeFrom(handle);
    return lib;
}

std::unique_ptr<KwIfSharedLookup> KwObjectHolder::ObjectLib::MakeLookup(const LogClass& log) const {
    const auto creator = reinterpret_cast<PluginCreator>(m_dl.Resolve(LOOKUP_CREATOR, m_name));
    std::unique_ptr<KwIfSharedLookup> object(creator ? creator(log) : nullptr);
    if (!object)
        throw std::domain_error("Can`t create " + m_name);
    return object;
}

void KwObjectHolder::ObjectLib::Configure(const LogClass& log) {
    const std::unique_ptr<KwIfSharedLookup> object = MakeLookup(log);
    object->InitLog(log);
    if (!object->IsNeedCofigLoading())
        return;
    if (m_config_loaded) {
        if (log.isDebugEnabled())
            LogText(log, log4cxx::Level::LEVEL_DEBUG,
                    "KwObjectHolder: configuration for library " + m_name + " already loaded");
        return;
    }
    if (m_conf_loader.expired())
        throw std::invalid_argument("can`t use " + m_name + " without configuration loading");
    const LogClass* own_log = object->GetLogPtr();
    LoadConfig(m_name, object.get(), own_log ? *own_log : log);
    m_config_loaded = true;
}
