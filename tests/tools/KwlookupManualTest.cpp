// SPDX-License-Identifier: MIT
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

// The manual page describes exactly the commands and options that --help lists.

namespace {

using namespace kwlookup;
using Names = std::set<std::string>;

/// The first words of the lines in one section of a help text, such as "Options:".
Names HelpEntries(const std::string& help, const std::string& section) {
    Names names;
    std::istringstream in(help);
    std::string line;
    while (std::getline(in, line) && line != section) {
    }
    while (std::getline(in, line) && line.compare(0, 2, "  ") == 0) {
        if (line[2] == ' ')
            continue; // a continued description
        std::istringstream entry(line.substr(2, line.find(' ', 2) - 2));
        for (std::string name; std::getline(entry, name, ',');)
            names.insert(name);
    }
    return names;
}

Names ToolCommands() {
    return HelpEntries(RunTool({"--help"}).out, "Subcommands:");
}

/// The lines of one section of the manual page.
std::vector<std::string> ManualSection(const std::string& section) {
    std::ifstream in(KWLOOKUP_MANUAL);
    std::vector<std::string> lines;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 4, ".Sh ") == 0)
            inside = line == ".Sh " + section;
        else if (inside)
            lines.push_back(line);
    }
    return lines;
}

/// The word after each macro `macro` in lines that begin with `start`.
Names MacroArguments(const std::vector<std::string>& lines, const std::string& start,
                     const std::string& macro, const std::string& prefix) {
    Names names;
    for (const std::string& line : lines) {
        if (line.compare(0, start.size(), start) != 0)
            continue;
        std::istringstream words(line);
        for (std::string word; words >> word;)
            if (word == macro && words >> word)
                names.insert(prefix + word);
    }
    return names;
}

TEST(KwlookupManual, DescribesEveryCommand) {
    const Names commands = ToolCommands();
    EXPECT_THAT(commands, testing::IsSupersetOf({"find", "check", "types"}));
    EXPECT_EQ(MacroArguments(ManualSection("DESCRIPTION"), ".It Cm", "Cm", ""), commands);
    EXPECT_EQ(MacroArguments(ManualSection("SYNOPSIS"), ".Cm", ".Cm", ""), commands);
}

TEST(KwlookupManual, DescribesEveryOption) {
    Names options = HelpEntries(RunTool({"--help"}).out, "Options:");
    std::vector<std::vector<std::string>> helps = {{"build", "cdb", "--help"},
                                                   {"build", "lmdb", "--help"}};
    for (const std::string& command : ToolCommands())
        helps.push_back({command, "--help"});
    for (const auto& help : helps) {
        const Names more = HelpEntries(RunTool(help).out, "Options:");
        EXPECT_THAT(more, testing::IsSupersetOf({"-h", "--help"})) << help[0];
        options.insert(more.begin(), more.end());
    }
    EXPECT_THAT(options, testing::IsSupersetOf({"-v", "--verbose", "--exact", "--strict"}));
    EXPECT_EQ(MacroArguments(ManualSection("DESCRIPTION"), ".It Fl", "Fl", "-"), options);
}

TEST(KwlookupManual, TheSynopsisHasTheOptionsOfFind) {
    Names options = HelpEntries(RunTool({"find", "--help"}).out, "Options:");
    options.erase("-h");
    options.erase("--help");
    EXPECT_FALSE(options.empty());
    EXPECT_THAT(MacroArguments(ManualSection("SYNOPSIS"), ".Op", "Fl", "-"),
                testing::IsSupersetOf(options));
}

} // namespace
