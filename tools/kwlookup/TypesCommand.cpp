// SPDX-License-Identifier: MIT
#include "TypesCommand.h"

#include "ExitStatus.h"
#include "lookup/KwFactory.h"

#include <dlfcn.h>
#include <iostream>
#include <string>

namespace {

/// What stands in the way of opening the plug-in of `type`; empty when it can be opened.
std::string WhyNot(const std::string& type) {
    void* library = ::dlopen(("libkw_lookup_" + type + ".so").c_str(), RTLD_NOW);
    if (!library)
        return ::dlerror();
    const bool usable = ::dlsym(library, "CreateLookup") != nullptr;
    ::dlclose(library);
    return usable ? "" : "it has no CreateLookup";
}

} // namespace

int RunTypesCommand() {
    const auto& factory = KwFactory<KwIfLookup>::Instance();
    for (const std::string& type : factory.GetNames()) {
        std::cout << type << '\t';
        if (*factory.Lookup(type)) {
            std::cout << "built in\n";
            continue;
        }
        const std::string why_not = WhyNot(type);
        std::cout << (why_not.empty() ? "plug-in" : "not available: " + why_not) << '\n';
    }
    std::cout.flush();
    return EXIT_FOUND;
}
