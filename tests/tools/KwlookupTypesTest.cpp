// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

TEST(ToolTypes, ListsTheKnownTypes) {
    const ProgramResult result = RunTool({"types"});
    EXPECT_EQ(result.status, Found);
    EXPECT_EQ(result.err, "");
    std::vector<std::string> names;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
        names.push_back(line.substr(0, line.find('\t')));
    EXPECT_THAT(names,
                testing::IsSupersetOf({"file", "ldap", "regex", "rfile", "odbc", "berkeley", "cdb",
                                       "postgres", "mysql", "firebird", "oracle", "sqlite"}));
    const std::string out = "\n" + result.out;
    EXPECT_THAT(out, HasSubstr("\nfile\tbuilt in\n"));
    EXPECT_THAT(out, HasSubstr("\nldap\tplug-in\n"));
}

TEST(ToolTypes, SaysWhichPluginsAreBuilt) {
    std::vector<std::string> known;
    ConfParser::SplitVector(KNOWN_PLUGINS, known, ',');
    EXPECT_GE(known.size(), 5u);
    // Without the plug-ins of the tests, some of which use the names of our types.
    const std::string out =
        "\n" + RunProgram(ToolArguments({"types"}), "", {"LD_LIBRARY_PATH=" PLUGIN_DIR}).out;
    for (const std::string& entry : known) {
        const std::size_t equals = entry.find('=');
        if (entry == "oracle") { // its client library is no package
            EXPECT_THAT(out, HasSubstr("\noracle\tplug-in, without its client library: "
                                       "libclntsh.so: cannot open shared object file"));
            continue;
        }
        EXPECT_THAT(out,
                    HasSubstr(equals == std::string::npos ? "\n" + entry + "\tplug-in\n"
                                                          : "\n" + entry.substr(0, equals) +
                                                                "\tnot available: not built: " +
                                                                entry.substr(equals + 1) + "\n"));
    }
}

/// A plug-in of a third party, for the type "path".
class ToolOtherTypes : public testing::Test {
protected:
    ToolOtherTypes() {
        fs::copy_file(TOOL_PLUGIN_DIR "/libkw_lookup_ldap.so", m_dir.Path("libkw_lookup_path.so"));
    }

    ProgramResult Run(std::vector<std::string> arguments) const {
        return RunProgram(ToolArguments(std::move(arguments)), "",
                          {"LD_LIBRARY_PATH=" + m_dir.Path("")});
    }

    std::string Configure(const std::string& text) const {
        const std::string name = m_dir.Write("kw.conf", text);
        fs::permissions(name, fs::perms::owner_read | fs::perms::owner_write);
        return name;
    }

    const TempDir m_dir;
    const ProgramResult m_found{Found, "x\tx\n", ""};
};

TEST_F(ToolOtherTypes, AreUnknownUntilTheyAreNamed) {
    EXPECT_EQ(Run({"find", "path:found", "x"}).status, Unavailable);
    EXPECT_EQ(Run({"--type", "path", "find", "path:found", "x"}), m_found);
    EXPECT_EQ(Run({"find", "path:found", "--type=path", "x"}), m_found);
    EXPECT_EQ(Run({"--type", "other", "--type", "path", "find", "Path:found", "x"}), m_found);
    EXPECT_EQ(Run({"--type", "file", "find", "x", "x"}), m_found);
    EXPECT_THAT(Run({"--type", "path", "types"}).out, HasSubstr("\npath\tplug-in\n"));
    EXPECT_THAT(Run({"--type", "other", "types"}).out,
                HasSubstr("\nother\tnot available: Cannot load shared library "
                          "libkw_lookup_other.so because "));
}

TEST_F(ToolOtherTypes, AreNamedByTheConfiguration) {
    const std::string conf = Configure("[kwlookup]\ntypes = other, path\n[lookup_path]\n");
    EXPECT_EQ(Run({"--config", conf, "find", "path:found", "x"}), m_found);
    EXPECT_EQ(Run({"--config", conf, "check"}),
              (ProgramResult{Found, conf + ": 2 sections, 0 errors\n", ""}));
    Configure("[kwlookup]\n");
    EXPECT_EQ(Run({"--config", conf, "find", "x", "x"}), m_found);
}

TEST_F(ToolOtherTypes, InvalidNamesAreErrors) {
    for (const std::string name : {"", "Path", "a b", "a:b", "../path", "p\xe4th"}) {
        EXPECT_THAT(
            Run({"--type", name, "types"}),
            testing::AllOf(testing::Field(&ProgramResult::status, Usage),
                           testing::Field(&ProgramResult::err, HasSubstr("is not a type: "))))
            << name;
        if (name.empty())
            continue; // lists have no empty items
        EXPECT_EQ(Run({"--config", Configure("[kwlookup]\n\nTypes = path," + name + "\n"), "types"})
                      .status,
                  BadList)
            << name;
    }
    EXPECT_EQ(Run({"--type", "value", "types"}).status, Usage);
    EXPECT_EQ(Run({"types", "--type"}).status, Usage);
    const std::string conf = Configure("[kwlookup]\nType = path\n");
    EXPECT_EQ(
        Run({"--config", conf, "types"}),
        (ProgramResult{BadList, "",
                       "kwlookup: error: " + conf + ":2: unknown key 'Type' in [kwlookup]\n"}));
}

} // namespace
