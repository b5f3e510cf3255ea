// SPDX-License-Identifier: MIT
#include "tools/lists/Plugin.h"

#include "conf/ConfParser.h"
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"
#include "objects/KwObjectHolder.h"
#include "objects/PluginSection.h"
#include "text/SharedLibrary.h"

#include <map>
#include <stdexcept>
#include <vector>

namespace kwlookup {

namespace {

/// The types of our plug-ins, each with the reason why it was not built, or empty.
const std::map<std::string, std::string>& OwnTypes() {
    static const std::map<std::string, std::string> types = [] {
        std::vector<std::string> entries;
        ConfParser::SplitVector(KWLOOKUP_KNOWN_PLUGINS, entries, ',');
        std::map<std::string, std::string> reasons;
        for (const std::string& entry : entries) {
            const std::size_t end = std::min(entry.find('='), entry.size());
            reasons[entry.substr(0, end)] = entry.substr(std::min(end + 1, entry.size()));
        }
        return reasons;
    }();
    return types;
}

} // namespace

std::string PluginTypeOf(const std::string& section) {
    const auto& factory = KwFactory<KwIfLookup>::Instance();
    for (const std::string& type : factory.GetNames())
        if (PluginSection(type) == section && !*factory.Lookup(type))
            return type;
    return std::string();
}

void RegisterOwnTypes() {
    for (const auto& [type, reason] : OwnTypes())
        RegisterType(type);
}

void RegisterType(const std::string& type) {
    KwFactory<KwIfLookup>::Instance().Register(type, nullptr);
}

std::string WhyNoTypeName(const std::string& type) {
    if (type == "value")
        return "'value' is not a type";
    if (type.empty() ||
        type.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_-") != std::string::npos)
        return "'" + type + "' is not a type: the name of a type has a-z, 0-9, '_' and '-' only";
    return std::string();
}

std::string WhyNotBuilt(const std::string& type) {
    const auto found = OwnTypes().find(type);
    return found == OwnTypes().end() ? std::string() : found->second;
}

std::string MissingPackage(const std::string& type) {
    const std::string prefix = KWLOOKUP_PLUGIN_PACKAGES;
    if (prefix.empty() || OwnTypes().count(type) == 0 || !WhyNotBuilt(type).empty())
        return std::string();
    try {
        KwObjectHolder::CheckPlugin(type);
    } catch (const std::exception& error) {
        // The loader names another file if the plug-in lacks a library.
        const std::string missing = " libkw_lookup_" + type + ".so: cannot open shared object file";
        if (std::string(error.what()).find(missing) != std::string::npos)
            return prefix + type;
    }
    return std::string();
}

std::string WhyNoLibrary(const std::string& type) {
    if (type != "oracle")
        return std::string();
    try {
        SharedLibrary library("libclntsh.so");
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return std::string();
}

} // namespace kwlookup
