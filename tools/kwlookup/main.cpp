// SPDX-License-Identifier: MIT
#include "BuildCommand.h"
#include "CheckCommand.h"
#include "CompareCommand.h"
#include "Completion.h"
#include "Configuration.h"
#include "ConvertCommand.h"
#include "ExitStatus.h"
#include "FilterCommand.h"
#include "FindCommand.h"
#include "StoreCommand.h"
#include "TypesCommand.h"
#include "UsageHints.h"
#include "WatchCommand.h"
#include "kwlog/Logging.h"
#include "lookup/KwIfLookup.h"
#include "tools/lists/Hints.h"
#include "tools/lists/Plugin.h"
#include "tools/lists/Report.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace kwlookup;

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
      Does the table answer as the text file that it was made from?

A line has the text and the answer of each list: "-" for no match, "+" for a
match, "+ RESULT" for one with a result. With "OnError=ignore" an error is no
match, so set "OnError=exception".
Exit status: 0 no difference, 1 some, 75 something could not be asked, 78 a list
has errors, 64 wrong usage.)";

const char WATCH_EXAMPLES[] = R"(
Example:
  kwlookup --config /etc/kwlookup.conf watch 'rfile:/etc/mail/patterns'
      Answers each line as it arrives; "kill -HUP" makes it read both files again.)";

const char CHECK_EXAMPLES[] = R"(
Examples:
  kwlookup check 'root@corp.lan, file:/etc/mail/blocked'
      How many objects and records, and what is wrong with which item?
  kwlookup --config /etc/kwlookup.conf check
      Can every section of the configuration be used?

Exit status: 0 nothing is wrong, 78 something is, 64 wrong usage.)";

const char TYPES_EXAMPLES[] = R"(
Examples:
  kwlookup types
      Which types can lists use here, and why not the others?
  kwlookup --type path types
      Can the plug-in libkw_lookup_path.so be opened?)";

const char BUILD_EXAMPLES[] = R"(
Example:
  kwlookup build cdb /etc/mail/access /etc/mail/access.cdb
  kwlookup find 'cdb:Database=/etc/mail/access.cdb|$s' jdoe@corp.lan

Blank lines and lines that begin with '#', indented or not, are left out.
Readers use the old file until the new one is complete.)";

const char CONVERT_EXAMPLES[] = R"(
Example:
  kwlookup convert --from postmap /etc/postfix/access > /etc/mail/access
  kwlookup check file:/etc/mail/access

Addresses come first, then domains, their parents and local parts, since the
first line of a list that matches answers.)";

const char STORE_EXAMPLES[] = R"x(
Examples:
  kwlookup store '"sqlite:Database=seen.db|insert into seen values
          (:address<varchar>, :at<timestamp>)"' address=jdoe@corp.lan at=now
      Stores one record.
  kwlookup store "$LIST" - < records
      Stores each line of standard input, as {"address":"jdoe@corp.lan",
      "at":"now"}, a thousand of them in a transaction.

Exit status: 0 stored, 75 not all was stored, 78 the list has errors, 64 wrong
usage.)x";

const char FILTER_EXAMPLES[] = R"(
Example, for smtpd.conf:
  filter "lists" proc-exec "/usr/bin/kwlookup filter opensmtpd file:/etc/mail/blocked"
  listen on 0.0.0.0 filter "lists"
      Refuses the senders on the list, with its results as the reasons.

The results are actions: OK, DUNNO, REJECT, DEFER, or a reply code, each with a
text, such as "550 5.7.1 not here". A value without a result is REJECT.)";

const char COMPLETION_EXAMPLES[] = R"(
Examples:
  kwlookup completion bash > ~/.local/share/bash-completion/completions/kwlookup
  kwlookup completion fish > ~/.config/fish/completions/kwlookup.fish
  kwlookup completion zsh > ~/.zfunc/_kwlookup
      For zsh, ~/.zshrc has "fpath+=~/.zfunc" before it calls compinit.)";

const char MAIN_EXAMPLES[] = R"(
Examples:
  kwlookup find 'root@corp.lan, file:/etc/mail/blocked' jdoe@corp.lan
  kwlookup check 'root@corp.lan, file:/etc/mail/blocked'
  kwlookup types
  kwlookup -q jdoe@corp.lan 'file:/etc/mail/access'
      As postmap -q does: prints the result; exit status 0 found, 1 not.

See kwlookup(1), or 'kwlookup find --help'.)";

/// Runs the command that the command line names; empty if it names none.
using Command = std::function<int(Configuration&, LogClass&)>;

/// Add the options that set bits of `flags`.
void AddAskFlags(CLI::App& app, int& flags) {
    const auto add = [&](const char* name, int bit, const char* description) {
        app.add_flag_callback(
            name, [&flags, bit] { flags |= bit; }, description);
    };
    add("--exact", FIND_EXACT, "Compare whole texts, byte for byte");
    add("--ignore-case", FIND_NOCASE, "With --exact: ignore letter case");
    add("--domain", FIND_DOMAIN, "The texts are bare domains");
    add("--strip-brackets", FIND_STRIP_BRACKETS,
        "Leave out angle brackets when a text is put into a template");
}

/// Add the options for the format of lines.
void AddLineFlags(CLI::App& app, bool& raw, bool& null) {
    app.add_flag("--raw", raw, "Print control characters as they are, not as \\xHH");
    app.add_flag("-0,--null", null, "End each text that is read and each answer with a NUL");
}

/// Add these, and the options for the format of answers.
void AddAnswerOptions(CLI::App& app, Asker::Options& options) {
    AddAskFlags(app, options.flags);
    AddLineFlags(app, options.answers.raw, options.answers.null);
    app.add_flag("--all", options.all, "Ask every item, and print each one's answer");
    app.add_flag("--explain", options.answers.explain,
                 "Also print the item that answered, the stored value, and its file");
    app.add_flag_callback(
        "--json", [&options] { options.answers.format = AnswerWriter::Json; },
        "Print one JSON object a line");
}

/// Converts the name of a value. Its messages are like those of CLI::IsMember; those of
/// CLI::Transformer do not list the names.
template <typename Value>
CLI::Validator OneOf(const std::map<std::string, Value>& values) {
    std::string names;
    for (const auto& value : values)
        names += (names.empty() ? "" : ",") + value.first;
    const auto convert = [values, names](std::string& text) {
        const auto value = values.find(text);
        if (value == values.end())
            return text + " not in {" + names + "}";
        text = std::to_string(static_cast<int>(value->second));
        return std::string();
    };
    return CLI::Validator(convert, "{" + names + "}");
}

void AddWarnings(CLI::App& app, Warnings::Mode& mode) {
    const std::map<std::string, Warnings::Mode> modes = {{"error", Warnings::Mode::Error},
                                                         {"off", Warnings::Mode::Off},
                                                         {"print", Warnings::Mode::Print}};
    app.add_option("--warnings", mode,
                   "What to do about values that are probably not read as intended: print "
                   "(default), error (count as errors), off")
        ->transform(OneOf(modes))
        ->type_name("WHAT");
}

void AddFind(CLI::App& app, const std::vector<std::string>& arguments,
             const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<FindOptions>();
    CLI::App& find = *app.add_subcommand("find", "Ask a list about texts");
    find.footer(FIND_EXAMPLES);
    find.add_option("LIST", options->list, "The object list")->required();
    find.add_option("TEXT", options->texts,
                    "Addresses or domains; '-' reads them from standard input, one a line")
        // Not as extra arguments, among which CLI11 reads "[10.0.0.1]" as a list of values.
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(static_cast<int>(arguments.size()) + 1, -1)
        ->allow_extra_args(false)
        ->required();
    AddAnswerOptions(find, options->ask);
    find.add_flag("--strict", options->strict, "Ask nothing when the list has errors");
    find.callback([options, &arguments, &warnings, &command] {
        options->checks.warnings = warnings;
        options->checks.open = options->ask.strict = options->strict;
        if (!options->list.empty() && options->list.back() == ',')
            PrintHint(HintForUnquotedList(arguments));
        command = [options](Configuration& configuration, LogClass& log) {
            configuration.WarnOfUnknownSections(options->checks.warnings);
            return RunFindCommand(*options, log);
        };
    });
}

void AddWatch(CLI::App& app, const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<FindOptions>();
    CLI::App& watch =
        *app.add_subcommand("watch", "Ask a list about lines of standard input as they arrive, and "
                                     "reload configuration and list on SIGHUP");
    watch.footer(WATCH_EXAMPLES);
    watch.add_option("LIST", options->list, "The object list")->required();
    AddAnswerOptions(watch, options->ask);
    watch.callback([options, &warnings, &command] {
        options->checks.warnings = warnings;
        command = [options](Configuration& configuration, LogClass& log) {
            configuration.WarnOfUnknownSections(options->checks.warnings);
            return RunWatchCommand(*options, configuration, log);
        };
    });
}

void AddCheck(CLI::App& app, const std::string& config_file, const Warnings::Mode& warnings,
              Command& command) {
    const auto list = std::make_shared<std::string>();
    const auto checks = std::make_shared<ListChecks>();
    checks->whole_files = checks->open = true;
    CLI::App& check = *app.add_subcommand("check", "Report the errors of a list or configuration");
    check.footer(CHECK_EXAMPLES);
    const CLI::Option* const given = check.add_option("LIST", *list, "The object list");
    check.add_flag_callback(
        "--no-open", [checks] { checks->open = false; },
        "Do not ask the plug-ins, so that no database is opened");
    check.callback([list, checks, given, &config_file, &warnings, &command] {
        if (given->empty() && config_file.empty())
            throw CLI::RequiredError("LIST or --config");
        checks->warnings = warnings;
        command = [list, checks](Configuration& configuration, LogClass& log) {
            return RunCheckCommand(*list, *checks, configuration, log);
        };
    });
}

void AddCompare(CLI::App& app, const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<CompareOptions>();
    CLI::App& compare = *app.add_subcommand(
        "compare", "Ask two lists about lines of standard input, and print where they differ");
    compare.footer(COMPARE_EXAMPLES);
    compare.add_option("LIST-A", options->lists[0], "An object list")->required();
    compare.add_option("LIST-B", options->lists[1], "Another one")->required();
    AddAskFlags(compare, options->flags);
    AddLineFlags(compare, options->raw, options->null);
    compare.callback([options, &warnings, &command] {
        options->checks.warnings = warnings;
        command = [options](Configuration& configuration, LogClass& log) {
            configuration.WarnOfUnknownSections(options->checks.warnings);
            return RunCompareCommand(*options, log);
        };
    });
}

void AddBuild(CLI::App& app, const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<BuildOptions>();
    CLI::App& build = *app.add_subcommand("build", "Make a database file from a text file");
    build.require_subcommand(1);
    CLI::App& cdb = *build.add_subcommand("cdb", "Make a cdb file");
    CLI::App& lmdb = *build.add_subcommand("lmdb", "Make an LMDB file");
    lmdb.add_flag("--all-values", options->all_values,
                  "Keep all lines with one key, not only the first one");
    for (CLI::App* app_of_format : {&cdb, &lmdb}) {
        CLI::App& format = *app_of_format;
        format.footer(BUILD_EXAMPLES);
        format
            .add_option("FILE", options->input,
                        "Lines with a key, white space and a value; '-' reads standard input")
            ->required();
        format.add_option("OUT", options->output, "The file to make or replace")->required();
        format.add_flag("--keep-case", options->keep_case, "Do not convert the keys to lower case");
        const std::map<std::string, SourceFormat> sources = {{"plain", SourceFormat::Plain},
                                                             {"postmap", SourceFormat::Postmap}};
        format
            .add_option("--source", options->source,
                        "The format of FILE: plain (default), or that of postmap")
            ->transform(OneOf(sources))
            ->type_name("FORMAT");
        const TableFormat table = &format == &cdb ? TableFormat::Cdb : TableFormat::Lmdb;
        format.callback([options, table, &warnings, &command] {
            options->format = table;
            options->warnings = warnings;
            command = [options](Configuration&, LogClass& log) {
                return RunBuildCommand(*options, log);
            };
        });
    }
}

void AddStore(CLI::App& app, const std::vector<std::string>& arguments,
              const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<StoreOptions>();
    CLI::App& store = *app.add_subcommand("store", "Store records into the items of a list");
    store.footer(STORE_EXAMPLES);
    store.add_option("LIST", options->list, "The object list")->required();
    store
        .add_option("NAME=VALUE", options->values,
                    "The values of a record; '-' reads records from standard input, a JSON object "
                    "a line")
        // As for TEXT of find.
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->expected(static_cast<int>(arguments.size()) + 1, -1)
        ->allow_extra_args(false)
        ->required();
    store.callback([options, &warnings, &command] {
        const std::string reason = WhyNoRecord(options->values);
        if (!reason.empty())
            throw CLI::ValidationError(reason);
        command = [options, &warnings](Configuration& configuration, LogClass& log) {
            configuration.WarnOfUnknownSections(warnings);
            return RunStoreCommand(*options, log);
        };
    });
}

void AddConvert(CLI::App& app, const Warnings::Mode& warnings, Command& command) {
    const auto input = std::make_shared<std::string>();
    CLI::App& convert =
        *app.add_subcommand("convert", "Print another program's table as a list of values");
    convert.footer(CONVERT_EXAMPLES);
    convert.add_option("--from", "The format of FILE")
        ->check(CLI::IsMember({"postmap"}))
        ->type_name("FORMAT")
        ->required();
    convert.add_option("FILE", *input, "The source of the table; '-' reads standard input")
        ->required();
    convert.callback([input, &warnings, &command] {
        command = [input, &warnings](Configuration&, LogClass& log) {
            return RunConvertCommand(*input, warnings, log);
        };
    });
}

void AddFilter(CLI::App& app, const Warnings::Mode& warnings, Command& command) {
    const auto options = std::make_shared<FilterOptions>();
    CLI::App& filter = *app.add_subcommand("filter", "Filter mail sessions for a mail server");
    filter.require_subcommand(1);
    CLI::App& smtpd =
        *filter.add_subcommand("opensmtpd", "Speak with OpenSMTPD, which starts this command");
    smtpd.footer(FILTER_EXAMPLES);
    smtpd.add_option("LIST", options->lists, "The object lists, which are asked in order")
        ->required();
    smtpd
        .add_option("--ask", options->attributes,
                    "What to look for: sender (default), recipient, helo_name, client_name, "
                    "client_address; may be repeated")
        ->type_name("ATTRIBUTE")
        ->allow_extra_args(false)
        ->check(
            CLI::IsMember({"client_address", "client_name", "helo_name", "recipient", "sender"}));
    smtpd
        .add_option("--answer-time", options->answer_time_ms,
                    "Refuse for now after this time (default 900)")
        ->type_name("MS")
        ->check(CLI::Range(1, 3600000));
    smtpd
        .add_option("--sub-address", options->sub_address,
                    "Ask for user@domain too, if the local part is user and one of these "
                    "characters and more")
        ->type_name("CHARS");
    smtpd.callback([options, &warnings, &command] {
        command = [options, &warnings](Configuration& configuration, LogClass& log) -> int {
            configuration.WarnOfUnknownSections(warnings);
            RunFilterCommand(*options, log);
        };
    });
}

void AddTypes(CLI::App& app, Command& command) {
    CLI::App& types =
        *app.add_subcommand("types", "List the known types, and whether each is available");
    types.footer(TYPES_EXAMPLES);
    types.callback(
        [&command] { command = [](Configuration&, LogClass&) { return RunTypesCommand(); }; });
}

/// The possible values, which the type name lists as "{bash,zsh,fish}".
std::vector<std::string> Choices(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    if (begin == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(begin + 1, type.find('}', begin) - begin - 1), ',');
}

/// Describe a command for a shell. The options of its parent commands, `options`, may follow it
/// too.
CompletedCommand Describe(const CLI::App& app, std::vector<CompletedCommand::Option> options = {}) {
    CompletedCommand command;
    command.name = app.get_name();
    command.description = app.get_description();
    // Each command has its own --help.
    options.erase(
        std::remove_if(options.begin(), options.end(),
                       [](const auto& option) { return option.names.back() == "--help"; }),
        options.end());
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            const std::vector<std::string> choices = Choices(*option);
            command.choices.insert(command.choices.end(), choices.begin(), choices.end());
            continue;
        }
        CompletedCommand::Option described;
        for (const std::string& name : option->get_snames())
            described.names.push_back("-" + name);
        for (const std::string& name : option->get_lnames())
            described.names.push_back("--" + name);
        described.description = option->get_description();
        described.has_value = option->get_items_expected_max() > 0;
        described.choices = Choices(*option);
        options.push_back(std::move(described));
    }
    for (const CLI::App* next : app.get_subcommands(nullptr))
        command.commands.push_back(Describe(*next, options));
    command.options = std::move(options);
    return command;
}

void AddCompletion(CLI::App& app, Command& command) {
    const auto shell = std::make_shared<std::string>();
    CLI::App& completion =
        *app.add_subcommand("completion", "Print a script that completes commands and options");
    completion.footer(COMPLETION_EXAMPLES);
    completion.add_option("SHELL", *shell, "The shell that will run the script")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    completion.callback([shell, &app, &command] {
        command = [shell, &app](Configuration&, LogClass&) {
            std::cout << CompletionScript(*shell, Describe(app));
            return ExitStatus::Found;
        };
    });
}

/// Open closed standard descriptors, so that no file opened later takes their numbers and receives
/// their output. Their direction is reversed, so that using them fails as before.
void FillClosedDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (::fcntl(fd, F_GETFD) < 0)
            ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int argc, char** argv) {
    FillClosedDescriptors();
    LogClass log("kwlookup");
    CLI::App app("Ask lookup lists about mail addresses and domains.", "kwlookup");
    app.footer(MAIN_EXAMPLES);
    app.set_version_flag("--version", "kwlookup " KWLOOKUP_VERSION);
    app.require_subcommand(0, 1); // a missing one is reported below, after an unknown one
    app.fallthrough();
    bool verbose = false;
    app.add_flag("-v,--verbose", verbose, "Show the library's debug messages on standard error");
    std::string config_file;
    app.add_option("--config", config_file, "Configure plug-ins from this file")
        ->check([](const std::string& name) {
            return std::string(name.empty() ? "the file name is empty" : "");
        });
    std::vector<std::string> types;
    app.add_option("--type", types,
                   "Make a type known that a plug-in from elsewhere provides; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->check(WhyNoTypeName);
    Warnings::Mode warnings = Warnings::Mode::Print;
    AddWarnings(app, warnings);
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    std::vector<std::string> query;
    app.add_option("-q", query,
                   "Print the value of one key as postmap does; '-' reads keys, one a line")
        ->type_name("KEY LIST")
        ->type_size(2)
        ->expected(1)
        ->allow_extra_args(false);
    Command command;
    AddFind(app, arguments, warnings, command);
    AddWatch(app, warnings, command);
    AddCheck(app, config_file, warnings, command);
    AddCompare(app, warnings, command);
    AddBuild(app, warnings, command);
    AddStore(app, arguments, warnings, command);
    AddConvert(app, warnings, command);
    AddFilter(app, warnings, command);
    AddTypes(app, command);
    AddCompletion(app, command);

    try {
        app.parse(argc, argv);
        if (!query.empty()) {
            if (command)
                throw CLI::ExcludesError("-q", app.get_subcommands().front()->get_name());
            command = [&query, warnings](Configuration&, LogClass& used_log) {
                ListChecks checks;
                checks.warnings = warnings;
                return RunQueryCommand(query[0], query[1], checks, used_log);
            };
        }
        if (!command)
            throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError& error) {
        const bool asked_for = PrintUsage(app, error, arguments);
        return !std::cout.flush() ? ExitStatus::Output
               : asked_for        ? ExitStatus::Found
                                  : ExitStatus::Usage;
    }

    RegisterOwnTypes();
    for (const std::string& type : types)
        RegisterType(type);
    SetLogging(LogTarget::StandardError,
               verbose ? log4cxx::Level::LEVEL_DEBUG : log4cxx::Level::LEVEL_WARN);
    try {
        Configuration configuration(config_file, log);
        const int status = configuration.Read() ? command(configuration, log) : ExitStatus::BadList;
        if (std::cout.flush())
            return status;
        ReportError(log, "cannot write to standard output");
        return ExitStatus::Output;
    } catch (...) {
        ReportError(log, CaughtReason());
        return ExitStatus::Unavailable;
    }
}
