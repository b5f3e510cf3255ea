// SPDX-License-Identifier: MIT
#include "BuildCommand.h"
#include "CheckCommand.h"
#include "CompareCommand.h"
#include "Configuration.h"
#include "ExitStatus.h"
#include "FindCommand.h"
#include "Tell.h"
#include "TypesCommand.h"
#include "WatchCommand.h"
#include "host/Logging.h"
#include "lookup/KwIfLookup.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

const char FIND_EXAMPLES[] = R"(
Examples:
  kwlookup find 'root@corp.lan, file:/etc/mail/blocked' jdoe@corp.lan
      Is the address, its domain or its local part on the list?
  kwlookup find --explain 'file:/etc/mail/access' '<jdoe@mail.corp.lan>'
      Which item answers, with which line of which file?
  kwlookup find --exact 'file:/etc/mail/blocked' - < addresses
      Asks every line of standard input, comparing whole texts.

Exit status: 0 found, 1 not found, 75 not found but something could not be
asked, 78 the list has errors (--strict), 64 wrong usage.)";

const char COMPARE_EXAMPLES[] = R"(
Example:
  kwlookup compare file:access 'cdb:OnError=exception|Database=access.cdb|$s' \
          < addresses
      Does the table answer as the text file that it was made of?

A line has the text and the answer of each list: "-" for no match, "+" for a
match, "+ RESULT" for one with a result. An error that a plug-in is told to
ignore is no match, so tell it "OnError=exception".
Exit status: 0 no difference, 1 some, 75 something could not be asked, 78 a list
has errors, 64 wrong usage.)";

const char WATCH_EXAMPLES[] = R"(
Example:
  kwlookup --config /etc/kwlookup.conf watch 'rfile:/etc/mail/patterns'
      Answers each line that comes; "kill -HUP" makes it read both files again.)";

const char CHECK_EXAMPLES[] = R"(
Examples:
  kwlookup check 'root@corp.lan, file:/etc/mail/blocked'
      How many objects and records, and what is wrong with which item?
  kwlookup --config /etc/kwlookup.conf check
      Can every section of the configuration be used?

Exit status: 0 nothing is wrong, 78 something is, 64 wrong usage.)";

const char TYPES_EXAMPLES[] = R"(
Example:
  kwlookup types
      Which types can lists have here, and why not the others?)";

const char BUILD_EXAMPLES[] = R"(
Example:
  kwlookup build cdb /etc/mail/access /etc/mail/access.cdb
  kwlookup find 'cdb:Database=/etc/mail/access.cdb|$s' jdoe@corp.lan

Blank lines and lines that begin with '#', indented or not, are left out.
Readers go on with the old file until the new one is whole.)";

const char MAIN_EXAMPLES[] = R"(
Examples:
  kwlookup find 'root@corp.lan, file:/etc/mail/blocked' jdoe@corp.lan
  kwlookup check 'root@corp.lan, file:/etc/mail/blocked'
  kwlookup types

See kwlookup(1), or 'kwlookup find --help'.)";

/// The options that say how a list is asked.
struct AskFlags {
    bool exact = false;
    bool no_case = false;
    bool domain = false;
    bool strip_brackets = false;

    void AddTo(CLI::App& app) {
        app.add_flag("--exact", exact, "Compare whole texts, with regard to letter case");
        app.add_flag("--ignore-case", no_case, "With --exact: ignore letter case");
        app.add_flag("--domain", domain, "The texts are bare domains");
        app.add_flag("--strip-brackets", strip_brackets,
                     "Leave out angle brackets where a text goes into a template");
    }

    void AddTo(CLI::App& app, Asker::Options& options) {
        AddTo(app);
        app.add_flag("--all", options.all, "Ask every item, and print each one's answer");
        app.add_flag("--explain", options.explain,
                     "Also print the item that answered, the stored value, and its file");
        app.add_flag("--json", options.json, "Print one JSON object a line");
    }

    int Bits() const {
        return (exact ? FIND_EXACT : 0) | (no_case ? FIND_NOCASE : 0) | (domain ? FIND_DOMAIN : 0) |
               (strip_brackets ? FIND_STRIP_BRACKETS : 0);
    }
};

/// Takes the places of standard descriptors that are closed, so that no file that is opened later
/// gets what is meant for them. What stands there fails in use, as a closed one does.
void FillClosedDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (::fcntl(fd, F_GETFD) < 0)
            ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int argc, char** argv) {
    FillClosedDescriptors();
    LogClass log("kwlookup");
    CLI::App app("Asks lookup lists about mail addresses and domains.", "kwlookup");
    app.footer(MAIN_EXAMPLES);
    app.set_version_flag("--version", "kwlookup " KWLOOKUP_VERSION);
    app.require_subcommand(0, 1); // that there is one is checked below, to name a wrong one first
    app.fallthrough();
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "Show the library's debug messages on standard error");
    std::string config_file;
    app.add_option("--config", config_file, "Configure plug-ins from this file")
        ->check([](const std::string& name) {
            return std::string(name.empty() ? "the file name is empty" : "");
        });

    FindOptions find;
    AskFlags ask_flags;
    CLI::App* find_app = app.add_subcommand("find", "Ask a list about texts");
    find_app->footer(FIND_EXAMPLES);
    find_app->add_option("LIST", find.list, "The object list")->required();
    find_app
        ->add_option("TEXT", find.texts,
                     "Addresses or domains; '-' reads them from standard input, one a line")
        // Not as extra arguments: CLI11 takes "[10.0.0.1]" among those for a list of values.
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(argc, -1)
        ->allow_extra_args(false)
        ->required();
    ask_flags.AddTo(*find_app, find.ask);
    find_app->add_flag("--strict", find.strict, "Ask nothing when the list has errors");

    CLI::App* watch_app =
        app.add_subcommand("watch", "Ask a list about the lines of standard input as they come, "
                                    "and re-read configuration and list on SIGHUP");
    watch_app->footer(WATCH_EXAMPLES);
    watch_app->add_option("LIST", find.list, "The object list")->required();
    ask_flags.AddTo(*watch_app, find.ask);

    CLI::App* check_app =
        app.add_subcommand("check", "Say what is in a list or configuration, and what is wrong");
    check_app->footer(CHECK_EXAMPLES);
    const CLI::Option* check_list = check_app->add_option("LIST", find.list, "The object list");

    CompareOptions compare;
    CLI::App* compare_app = app.add_subcommand(
        "compare", "Ask two lists the lines of standard input, and print where they differ");
    compare_app->footer(COMPARE_EXAMPLES);
    compare_app->add_option("LIST-A", compare.lists[0], "An object list")->required();
    compare_app->add_option("LIST-B", compare.lists[1], "Another one")->required();
    ask_flags.AddTo(*compare_app);

    BuildOptions build;
    CLI::App* build_app = app.add_subcommand("build", "Make a database file of a text file");
    build_app->require_subcommand(1);
    CLI::App* build_cdb_app = build_app->add_subcommand("cdb", "Make a cdb file");
    build_cdb_app->footer(BUILD_EXAMPLES);
    build_cdb_app
        ->add_option("FILE", build.input,
                     "Lines of a key, white space and a value; '-' reads them "
                     "from standard input")
        ->required();
    build_cdb_app->add_option("OUT", build.output, "The file to make or to replace")->required();
    build_cdb_app->add_flag("--keep-case", build.keep_case, "Do not lower-case the keys");

    CLI::App* types_app =
        app.add_subcommand("types", "List the known types, and whether each can be opened here");
    types_app->footer(TYPES_EXAMPLES);

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A command");
        if (check_app->parsed() && check_list->empty() && config_file.empty())
            throw CLI::RequiredError("LIST or --config");
    } catch (const CLI::ParseError& error) {
        const bool asked_for = app.exit(error) == 0;
        return !std::cout.flush() ? EXIT_OUTPUT : asked_for ? EXIT_FOUND : EXIT_USAGE;
    }

    SetLogging(LogTarget::StandardError,
               verbose ? log4cxx::Level::LEVEL_DEBUG : log4cxx::Level::LEVEL_WARN);
    const auto run = [&]() -> int {
        Configuration configuration(config_file, log);
        if (!configuration.Read())
            return EXIT_BAD_LIST;
        if (types_app->parsed())
            return RunTypesCommand();
        if (build_app->parsed()) {
            RunBuildCommand(build);
            return EXIT_FOUND;
        }
        if (check_app->parsed())
            return RunCheckCommand(find.list, configuration, log);
        find.ask.flags = compare.flags = ask_flags.Bits();
        if (compare_app->parsed())
            return RunCompareCommand(compare, log);
        if (watch_app->parsed())
            return RunWatchCommand(find.list, find.ask, configuration, log);
        return RunFindCommand(find, log);
    };
    try {
        const int status = run();
        if (std::cout.flush())
            return status;
        TellError(log, "cannot write to standard output");
        return EXIT_OUTPUT;
    } catch (const std::exception& error) {
        TellError(log, error.what());
        return EXIT_UNAVAILABLE;
    }
}
