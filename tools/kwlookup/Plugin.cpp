// SPDX-License-Identifier: MIT
#include "Plugin.h"

#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"

#include <string_view>

std::string PluginTypeOf(const std::string& section) {
    constexpr std::string_view PREFIX = "lookup_";
    if (section.compare(0, PREFIX.size(), PREFIX) != 0)
        return std::string();
    const std::string type = section.substr(PREFIX.size());
    const LookupCreator* const known = KwFactory<KwIfLookup>::Instance().Lookup(type);
    return known && !*known ? type : std::string();
}
