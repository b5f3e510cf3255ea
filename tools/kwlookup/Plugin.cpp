// SPDX-License-Identifier: MIT
#include "Plugin.h"

#include <dlfcn.h>
#include <stdexcept>

PluginCreator OpenPlugin(const std::string& type) {
    void* library = ::dlopen(("libkw_lookup_" + type + ".so").c_str(), RTLD_NOW);
    void* creator = library ? ::dlsym(library, "CreateLookup") : nullptr;
    if (!creator) {
        const char* reason = ::dlerror();
        throw std::runtime_error(reason ? reason : "its CreateLookup is null");
    }
    return reinterpret_cast<PluginCreator>(creator);
}
