// SPDX-License-Identifier: MIT
#include "objects/ReloadSupport.h"

#include "lookup/KwFactory.h"

#include <dlfcn.h>
#include <stdexcept>

namespace {

bool RegisterTypes() {
    for (const char* type : {"first", "second", "third", "late", "unready", "bare"})
        KwFactory<KwIfLookup>::Instance().Register(type, nullptr);
    return true;
}

const bool g_types = RegisterTypes();

} // namespace

void ScriptedLoader::Record(const std::string& operation) {
    m_calls.push_back(m_name + operation);
}

void ScriptedLoader::Call(const std::string& operation) {
    Record(operation);
    if (on_call)
        on_call(operation);
}

bool ScriptedLoader::LoadSection(int instance, const std::string& section, int index,
                                 const std::string& subsection, int options,
                                 InterfaceConfHolder* holder, const LogClass& log) {
    if (instance != 0 || index != 0 || options != 0 || !subsection.empty())
        Record("unexpected arguments");
    last_holder = holder;
    last_log = &log;
    Call("load " + section);
    return section_is_good;
}

void ScriptedLoader::ReleaseLoader() {
    Call("release");
}

void ScriptedLoader::PrepareLoad() {
    Call("prepare");
}

bool ScriptedLoader::AcquireLoader() {
    Call("acquire");
    return acquired;
}

ReloadPluginState& StateOf(const std::string& type) {
    void* handle = ::dlopen(("libkw_lookup_" + type + ".so").c_str(), RTLD_NOW);
    void* state = handle ? ::dlsym(handle, "g_state") : nullptr;
    if (!state)
        throw std::logic_error("no plug-in " + type);
    return *static_cast<ReloadPluginState*>(state);
}
