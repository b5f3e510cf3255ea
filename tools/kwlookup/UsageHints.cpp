// SPDX-License-Identifier: MIT
#include "UsageHints.h"

#include "kwlog/Logging.h"
#include "tools/lists/Hints.h"

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <iostream>

namespace kwlookup {

namespace {

/// CLI11 ends its messages with this text.
constexpr char MORE[] = "\nRun with --help for more information.\n";

/// `text`, which quotes the command line, for a message.
std::string Shown(const std::string& text) {
    return PrintableText(WithoutSecrets(text));
}

/// The last command or subcommand on the command line.
const CLI::App& LastCommand(const CLI::App& app) {
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty())
        last = last->get_subcommands().back();
    return *last;
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

/// Report a word in the place of a command that is not one. False if there is none.
bool ReportUnknownCommand(const CLI::App& app, const std::vector<std::string>& arguments) {
    const CLI::App& last = LastCommand(app);
    const std::vector<std::string> commands = CommandsOf(last);
    std::vector<std::string> rest = last.remaining();
    if (rest.empty())
        rest = app.remaining();
    if (commands.empty() || rest.empty() || rest.front().empty() || rest.front().front() == '-')
        return false;
    const std::string& word = rest.front();
    const std::string meant = commands.size() == 1 ? commands.front() : NearestName(word, commands);
    const std::string before = &last == &app ? "" : last.get_name() + " ";
    const auto hint = [&](const std::string& command) {
        std::vector<std::string> corrected = arguments;
        std::replace(corrected.begin(), corrected.end(), word, command);
        PrintHint(CommandLine(corrected));
    };
    std::cerr << "kwlookup: error: unknown command " << before << Shown(word);
    if (!meant.empty()) {
        std::cerr << "; did you mean " << before << meant << "?" << MORE;
        hint(meant);
        return true;
    }
    std::cerr << "; the commands are " << boost::algorithm::join(commands, ", ") << MORE;
    if (&last != &app)
        hint(commands.front());
    return true;
}

} // namespace

bool PrintUsage(const CLI::App& app, const CLI::ParseError& error,
                const std::vector<std::string>& arguments) {
    if (error.get_exit_code() == 0) {
        app.exit(error);
        return true;
    }
    if (!ReportUnknownCommand(app, arguments)) {
        std::cerr << "kwlookup: error: " << Shown(error.what()) << MORE;
        PrintHint(HintForUnquotedList(arguments));
    }
    return false;
}

} // namespace kwlookup
