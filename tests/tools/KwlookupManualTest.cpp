// SPDX-License-Identifier: MIT
#include "tools/Tool.h"

#include <boost/algorithm/string.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// The manual page describes exactly the commands and options that --help lists.

namespace {

using namespace kwlookup;
using Names = std::set<std::string>;

/// The names in each entry of one section of a help text, such as "Options:".
std::vector<Names> HelpSection(const std::string& help, const std::string& section) {
    std::vector<Names> entries;
    std::istringstream in(help);
    std::string line;
    while (std::getline(in, line) && line != section) {
    }
    while (std::getline(in, line) && line.compare(0, 2, "  ") == 0) {
        if (line[2] == ' ')
            continue; // a continued description
        std::istringstream entry(line.substr(2, line.find(' ', 2) - 2));
        entries.emplace_back();
        for (std::string name; std::getline(entry, name, ',');)
            entries.back().insert(name);
    }
    return entries;
}

Names HelpEntries(const std::string& help, const std::string& section) {
    Names names;
    for (Names& entry : HelpSection(help, section))
        names.merge(entry);
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
    std::vector<std::vector<std::string>> helps = {
        {"build", "cdb", "--help"}, {"build", "lmdb", "--help"}, {"filter", "opensmtpd", "--help"}};
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

/// The options in the entries of the synopsis, by the command that they are for; "" for those of no
/// command.
std::map<std::string, Names> SynopsisOptions() {
    std::map<std::string, Names> options;
    std::string command;
    for (const std::string& line : ManualSection("SYNOPSIS")) {
        if (line == ".Nm" || line == ".Nm kwlookup")
            command.clear();
        else if (line.compare(0, 4, ".Cm ") == 0)
            command = line.substr(4);
        options[command].merge(MacroArguments({line}, "", "Fl", "-"));
        options[command].merge(MacroArguments({line}, "", ".Fl", "-"));
    }
    return options;
}

TEST(KwlookupManual, TheSynopsisHasEachOptionOfEachCommand) {
    std::map<std::string, Names> synopsis = SynopsisOptions();
    Names commands = ToolCommands();
    commands.erase("build");
    commands.erase("filter");
    commands.insert({"", "build cdb", "build lmdb", "filter opensmtpd"});
    for (const std::string& command : commands) {
        std::vector<std::string> help = {"--help"};
        if (!command.empty())
            boost::algorithm::split(help, command + " --help", boost::algorithm::is_space());
        for (const Names& option : HelpSection(RunTool(help).out, "Options:")) {
            if (!command.empty() && option.count("--help") != 0)
                continue;
            Names shown;
            for (const std::string& name : option)
                if (synopsis[command].erase(name) != 0)
                    shown.insert(name);
            EXPECT_FALSE(shown.empty()) << command << " " << *option.rbegin();
        }
        EXPECT_EQ(synopsis[command], Names()) << command << " has no such options";
    }
}

} // namespace
