// SPDX-License-Identifier: MIT
#include "CheckCommand.h"
#include "ExitStatus.h"
#include "FindCommand.h"
#include "TypesCommand.h"
#include "host/LogText.h"
#include "host/Logging.h"
#include "lookup/KwIfLookup.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <string>

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

const char MAIN_EXAMPLES[] = R"(
Examples:
  kwlookup find 'root@corp.lan, file:/etc/mail/blocked' jdoe@corp.lan
  kwlookup check 'root@corp.lan, file:/etc/mail/blocked'
  kwlookup types

See kwlookup(1), or 'kwlookup find --help'.)";

} // namespace

int main(int argc, char** argv) {
    const LogClass log("kwlookup");
    CLI::App app("Asks lookup lists about mail addresses and domains.", "kwlookup");
    app.footer(MAIN_EXAMPLES);
    app.set_version_flag("--version", "kwlookup " KWLOOKUP_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "Show the library's debug messages on standard error");

    FindCommand::Options find;
    bool exact = false, no_case = false, domain = false, strip_brackets = false;
    CLI::App* find_app = app.add_subcommand("find", "Ask a list about texts");
    find_app->footer(FIND_EXAMPLES);
    find_app->add_option("LIST", find.list, "The object list")->required();
    find_app
        ->add_option("TEXT", find.texts,
                     "Addresses or domains; '-' reads them from standard input, one a line")
        ->required();
    find_app->add_flag("--exact", exact, "Compare whole texts, with regard to letter case");
    find_app->add_flag("--ignore-case", no_case, "With --exact: ignore letter case");
    find_app->add_flag("--domain", domain, "The texts are bare domains");
    find_app->add_flag("--strip-brackets", strip_brackets,
                       "Leave out angle brackets where a text goes into a template");
    find_app->add_flag("--all", find.all, "Ask every item, and print each one's answer");
    find_app->add_flag("--explain", find.explain,
                       "Also print the item that answered, the stored value, and its file");
    find_app->add_flag("--json", find.json, "Print one JSON object a line");
    find_app->add_flag("--strict", find.strict, "Ask nothing when the list has errors");

    std::string check_list;
    CLI::App* check_app = app.add_subcommand("check", "Say what is in a list, and what is wrong");
    check_app->add_option("LIST", check_list, "The object list")->required();

    const CLI::App* types_app =
        app.add_subcommand("types", "List the known types, and whether each can be opened here");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_FOUND : EXIT_USAGE;
    }

    SetLogging(LogTarget::StandardError,
               verbose ? log4cxx::Level::LEVEL_DEBUG : log4cxx::Level::LEVEL_WARN);
    try {
        if (types_app->parsed())
            return RunTypesCommand();
        if (check_app->parsed())
            return RunCheckCommand(check_list, log);
        find.flags = (exact ? FIND_EXACT : 0) | (no_case ? FIND_NOCASE : 0) |
                     (domain ? FIND_DOMAIN : 0) | (strip_brackets ? FIND_STRIP_BRACKETS : 0);
        return FindCommand(find, log).Run();
    } catch (const std::exception& error) {
        LogText(log, log4cxx::Level::LEVEL_ERROR, error.what());
        return EXIT_UNAVAILABLE;
    }
}
