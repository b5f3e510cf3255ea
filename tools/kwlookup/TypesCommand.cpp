// SPDX-License-Identifier: MIT
#include "TypesCommand.h"

#include "ExitStatus.h"
#include "Plugin.h"
#include "lookup/KwFactory.h"

#include <iostream>
#include <stdexcept>
#include <string>

namespace {

std::string Describe(const std::string& type) {
    if (*KwFactory<KwIfLookup>::Instance().Lookup(type))
        return "built in";
    try {
        OpenPlugin(type);
        return "plug-in";
    } catch (const std::runtime_error& error) {
        return std::string("not available: ") + error.what();
    }
}

} // namespace

int RunTypesCommand() {
    for (const std::string& type : KwFactory<KwIfLookup>::Instance().GetNames())
        std::cout << type << '\t' << Describe(type) << '\n';
    std::cout.flush();
    return EXIT_FOUND;
}
