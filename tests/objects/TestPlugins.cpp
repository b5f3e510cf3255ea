// SPDX-License-Identifier: MIT
#include "objects/TestPlugins.h"

#include "lookup/KwFactory.h"
#include "lookup/KwLookupHolder.h"
#include "support/RecordingLog.h"

#include <dlfcn.h>
#include <stdexcept>

namespace {

using namespace kwlookup;

bool RegisterPluginTypes() {
    for (const char* type : {"absent", "configured", "foreign", "incomplete", "latecomer", "nested",
                             "otherversion", "shared", "unloadable", "unlogged"})
        KwFactory<KwIfLookup>::Instance().Register(type, nullptr);
    return true;
}

const bool g_types = RegisterPluginTypes();

/// Matches nothing and records the values that Match() gets.
class ListingFinder : public KwLookupFinder {
public:
    bool Match(const std::string& value) const override {
        m_values.push_back(value);
        return false;
    }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

    const std::vector<std::string>& GetValues() const { return m_values; }

private:
    const std::string m_text;
    mutable std::vector<std::string> m_values;
};

} // namespace

LoadedPlugin::LoadedPlugin(const std::string& type)
    : m_handle(::dlopen(("libkw_lookup_" + type + ".so").c_str(), RTLD_NOW | RTLD_NOLOAD)) {}

LoadedPlugin::~LoadedPlugin() {
    if (m_handle)
        ::dlclose(m_handle);
}

const PluginCounts& LoadedPlugin::GetCounts() const {
    const void* counts = m_handle ? ::dlsym(m_handle, "g_counts") : nullptr;
    if (!counts)
        throw std::logic_error("the plug-in is not loaded");
    return *static_cast<const PluginCounts*>(counts);
}

std::string LoaderMessage(const std::string& file) {
    ::dlopen(file.c_str(), RTLD_NOW);
    const char* text = ::dlerror();
    return text ? text : "";
}

std::vector<std::string> TakeErrors() {
    RecordingLog::Reset();
    LogClass log("errors");
    try {
        KwObjectHolder::AfterReload(log);
    } catch (const std::domain_error&) {
    }
    std::vector<std::string> errors;
    for (const std::string& text : RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR))
        if (text.compare(0, 2, "  ") == 0)
            errors.push_back(text.substr(2));
    RecordingLog::Reset();
    return errors;
}

std::vector<std::string> Values(const KwLookupHolder& holder) {
    const ListingFinder finder;
    std::string res;
    holder.Find(finder, &res, 0, nullptr);
    return finder.GetValues();
}
