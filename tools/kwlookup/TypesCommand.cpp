// SPDX-License-Identifier: MIT
#include "TypesCommand.h"

#include "ExitStatus.h"
#include "lookup/KwFactory.h"
#include "objects/KwObjectHolder.h"
#include "tools/lists/Hints.h"
#include "tools/lists/Plugin.h"
#include "tools/lists/Report.h"

#include <iostream>
#include <string>

namespace kwlookup {

namespace {

std::string Describe(const std::string& type) {
    if (*KwFactory<KwIfLookup>::Instance().Lookup(type))
        return "built in";
    try {
        KwObjectHolder::CheckPlugin(type);
        const std::string missing = WhyNoLibrary(type);
        return missing.empty() ? "plug-in" : "plug-in, without its client library: " + missing;
    } catch (...) {
        const std::string reason = CaughtReason();
        const std::string not_built = WhyNotBuilt(type);
        if (!not_built.empty())
            return "not available: not built: " + not_built;
        const std::string hint = HintForMissing(type);
        return "not available: " + (hint.empty() ? reason : reason + "; " + hint);
    }
}

} // namespace

int RunTypesCommand() {
    for (const std::string& type : KwFactory<KwIfLookup>::Instance().GetNames())
        std::cout << type << '\t' << Describe(type) << '\n';
    std::cout.flush();
    return ExitStatus::Found;
}

} // namespace kwlookup
