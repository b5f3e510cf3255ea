// SPDX-License-Identifier: MIT
// Each manual page lists exactly the parameters that its plug-in registers, with their defaults.
// The table of types has a row for each plug-in.
#include "conf/ConfParser.h"
#include "host/LogClass.h"
#include "lookup/KwIfSharedLookup.h"
#include "lookup/KwIfSharedStorage.h"
#include "support/RecordingLog.h"

#include <boost/make_shared.hpp>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

/// Maps the name of a parameter to its default, or to "none".
using Parameters = std::map<std::string, std::string>;

std::string DefaultText(IfConfParser::VarType type, const void* def) {
    if (!def)
        return "none";
    switch (type) {
    case IfConfParser::VT_BOOL:
        return *static_cast<const bool*>(def) ? "yes" : "no";
    case IfConfParser::VT_INT:
        return std::to_string(*static_cast<const int*>(def));
    case IfConfParser::VT_TIME:
        return std::to_string(*static_cast<const int*>(def)) + "s";
    case IfConfParser::VT_SIZE:
        return std::to_string(*static_cast<const long long*>(def));
    case IfConfParser::VT_STRING:
        return *static_cast<const std::string*>(def);
    default:
        return "of another type";
    }
}

class ParameterCollector : public IfConfParser {
public:
    explicit ParameterCollector(const std::string& section) : m_prefix(section + "/") {}

    void Add(const std::string& name, void*, VarType type, const void* def) override {
        EXPECT_EQ(name.substr(0, m_prefix.size()), m_prefix);
        parameters[name.substr(m_prefix.size())] = DefaultText(type, def);
    }

    Parameters parameters;

private:
    std::string m_prefix;
};

Parameters Registered(const std::string& type) {
    void* library = ::dlopen((PLUGIN_DIR "/libkw_lookup_" + type + ".so").c_str(), RTLD_NOW);
    if (!library) {
        ADD_FAILURE() << ::dlerror();
        return {};
    }
    const auto create = reinterpret_cast<PluginCreator>(::dlsym(library, "CreateLookup"));
    const LogClass log("manual");
    const std::unique_ptr<KwIfSharedLookup> lookup(create(log));
    const auto collector = boost::make_shared<ParameterCollector>("lookup_" + type);
    EXPECT_TRUE(lookup->MakePreInit(collector));
    EXPECT_TRUE(lookup->IsNeedCofigLoading());
    // Without a configuration it cannot be used.
    EXPECT_THROW(lookup->Init("a"), std::domain_error);
    return collector->parameters;
}

/// Add the items of the section PARAMETERS of a page to `parameters`, with sizes in bytes and times
/// in seconds. True if the page refers to the page on servers.
bool Read(const std::string& name_of_page, Parameters& parameters) {
    std::ifstream page(SOURCE_DIR "/" + name_of_page);
    EXPECT_TRUE(page) << name_of_page;
    bool on_servers = false;
    std::string section, name;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind(".Sh ", 0) == 0)
            section = line.substr(4);
        if (section != "PARAMETERS")
            continue;
        on_servers |= line.rfind(".Xr kw_lookup_servers 5", 0) == 0;
        if (line.rfind(".It Cm ", 0) == 0)
            name = line.substr(7);
        const std::size_t def = line.find("Default: ");
        if (def == std::string::npos)
            continue;
        std::string value = line.substr(def + 9);
        value.resize(value.find_first_of(".,"));
        long long bytes = 0;
        if (value.size() > 1 && ConfParser::ConvertSizeValToBytes("", value, &bytes, LogClass("")))
            value = std::to_string(bytes);
        EXPECT_TRUE(parameters.emplace(name, value).second) << name;
    }
    return on_servers;
}

/// The parameters on the page of `type` and on the pages that it refers to. It may repeat some of
/// those.
Parameters Described(const std::string& type) {
    Parameters parameters;
    Parameters shared;
    if (Read("plugins/" + type + "/kw_lookup_" + type + ".5", parameters))
        Read("families/servers/kw_lookup_servers.5", shared);
    Read("lookup/config/kw_lookup.5", shared);
    parameters.insert(shared.begin(), shared.end());
    return parameters;
}

/// The types whose plug-ins are built.
std::vector<std::string> Types() {
    std::vector<std::string> types;
    ConfParser::SplitVector(PLUGIN_TYPES, types, ',');
    return types;
}

class ManualTest : public testing::TestWithParam<std::string> {};

TEST_P(ManualTest, DescribesTheParameters) {
    const Parameters registered = Registered(GetParam());
    EXPECT_GE(registered.size(), 2u); // OnError, SkipDomains
    EXPECT_THAT(Described(GetParam()), testing::ContainerEq(registered));
}

TEST_P(ManualTest, SaysWhetherTheTypeStores) {
    void* library = ::dlopen((PLUGIN_DIR "/libkw_lookup_" + GetParam() + ".so").c_str(), RTLD_NOW);
    ASSERT_TRUE(library) << ::dlerror();
    const auto create = reinterpret_cast<PluginCreator>(::dlsym(library, "CreateLookup"));
    const LogClass log("manual");
    const std::unique_ptr<KwIfSharedLookup> lookup(create(log));
    std::ifstream page(SOURCE_DIR "/plugins/" + GetParam() + "/kw_lookup_" + GetParam() + ".5");
    const std::string text{std::istreambuf_iterator<char>(page), {}};
    EXPECT_EQ(text.find("The statement can also be an insert statement") != std::string::npos,
              dynamic_cast<KwIfSharedStorage*>(lookup.get()) != nullptr);
}

TEST_P(ManualTest, TheTableOfTypesHasARow) {
    std::ifstream page(SOURCE_DIR "/docs/object-lists.md");
    const std::string row = "| `" + GetParam() + "` | ";
    std::string line;
    while (std::getline(page, line) && line.rfind(row, 0) != 0) {
    }
    EXPECT_TRUE(page) << row;
}

INSTANTIATE_TEST_SUITE_P(Plugins, ManualTest, testing::ValuesIn(Types()),
                         [](const auto& test) { return test.param; });

} // namespace
