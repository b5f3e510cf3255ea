// SPDX-License-Identifier: MIT
#include "Plugin.h"

#include "lookup/KwFactory.h"

#include <dlfcn.h>
#include <stdexcept>
#include <string_view>

std::string PluginTypeOf(const std::string& section) {
    constexpr std::string_view PREFIX = "lookup_";
    if (section.compare(0, PREFIX.size(), PREFIX) != 0)
        return std::string();
    const std::string type = section.substr(PREFIX.size());
    const LookupCreator* const known = KwFactory<KwIfLookup>::Instance().Lookup(type);
    return known && !*known ? type : std::string();
}

PluginCreator OpenPlugin(const std::string& type) {
    void* library = ::dlopen(("libkw_lookup_" + type + ".so").c_str(), RTLD_NOW);
    void* creator = library ? ::dlsym(library, "CreateLookup") : nullptr;
    if (!creator) {
        const char* reason = ::dlerror();
        throw std::runtime_error(reason ? reason : "its CreateLookup is null");
    }
    return reinterpret_cast<PluginCreator>(creator);
}
