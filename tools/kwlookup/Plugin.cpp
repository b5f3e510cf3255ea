// SPDX-License-Identifier: MIT
#include "Plugin.h"

#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"
#include "objects/PluginSection.h"

std::string PluginTypeOf(const std::string& section) {
    const auto& factory = KwFactory<KwIfLookup>::Instance();
    for (const std::string& type : factory.GetNames())
        if (PluginSection(type) == section && !*factory.Lookup(type))
            return type;
    return std::string();
}
