// SPDX-License-Identifier: MIT
#include "TypesCommand.h"

#include "ExitStatus.h"
#include "Tell.h"
#include "lookup/KwFactory.h"
#include "objects/KwObjectHolder.h"

#include <iostream>
#include <string>

namespace {

std::string Describe(const std::string& type) {
    if (*KwFactory<KwIfLookup>::Instance().Lookup(type))
        return "built in";
    try {
        KwObjectHolder::CheckPlugin(type);
        return "plug-in";
    } catch (...) {
        return "not available: " + CaughtReason();
    }
}

} // namespace

int RunTypesCommand() {
    for (const std::string& type : KwFactory<KwIfLookup>::Instance().GetNames())
        std::cout << type << '\t' << Describe(type) << '\n';
    std::cout.flush();
    return EXIT_FOUND;
}
