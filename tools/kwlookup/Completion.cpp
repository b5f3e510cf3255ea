// SPDX-License-Identifier: MIT
#include "Completion.h"

#include <algorithm>
#include <functional>

namespace kwlookup {

namespace {

/// `text` in single quotes, which mean the same to all three shells.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : between) + word;
    return joined;
}

/// Call `visit` for `command` and each of its subcommands, with its path, such as "build cdb".
void ForEachCommand(const CompletedCommand& command, const std::string& path,
                    const std::function<void(const CompletedCommand&, const std::string&)>& visit) {
    visit(command, path);
    for (const CompletedCommand& next : command.commands)
        ForEachCommand(next, path.empty() ? next.name : path + " " + next.name, visit);
}

/// Code for bash and zsh: add $word to the path in $command if it names a subcommand.
std::string FindCommand(const CompletedCommand& tool) {
    std::string cases;
    ForEachCommand(tool, "", [&cases](const CompletedCommand& command, const std::string& path) {
        for (const CompletedCommand& next : command.commands)
            cases += "        " + Quoted(path + ":" + next.name) +
                     ") command=" + Quoted(path.empty() ? next.name : path + " " + next.name) +
                     " ;;\n";
    });
    return "        case \"$command:$word\" in\n" + cases + "        esac\n";
}

/// The words that may follow `command` and are not options.
std::vector<std::string> Words(const CompletedCommand& command) {
    std::vector<std::string> words = command.choices;
    for (const CompletedCommand& next : command.commands)
        words.push_back(next.name);
    return words;
}

std::vector<std::string> OptionNames(const CompletedCommand& command) {
    std::vector<std::string> names;
    for (const CompletedCommand::Option& option : command.options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

std::string BashScript(const CompletedCommand& tool) {
    std::string script = "# bash completion of " + tool.name +
                         "\n\n"
                         "_kwlookup() {\n"
                         "    local current=${COMP_WORDS[COMP_CWORD]} command= word\n"
                         "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n" +
                         FindCommand(tool) +
                         "    done\n"
                         "    local words= flags=\n"
                         "    case \"$command:${COMP_WORDS[COMP_CWORD-1]}\" in\n";
    ForEachCommand(tool, "", [&script](const CompletedCommand& command, const std::string& path) {
        for (const CompletedCommand::Option& option : command.options)
            for (const std::string& name : option.names)
                if (option.has_value)
                    script += "    " + Quoted(path + ":" + name) +
                              ") words=" + Quoted(Joined(option.choices, " ")) + " ;;\n";
        script += "    " + Quoted(path + ":") + "*) words=" + Quoted(Joined(Words(command), " ")) +
                  " flags=" + Quoted(Joined(OptionNames(command), " ")) + " ;;\n";
    });
    // Without a matching word, "-o default" completes file names.
    return script +
           "    esac\n"
           "    [[ $current == -* ]] && words=$flags\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -o default -F _kwlookup " +
           tool.name + "\n";
}

/// An entry of zsh's _describe, which splits it at the first colon.
std::string Described(const std::string& word, const std::string& description) {
    return " " + Quoted(word + ":" + description);
}

std::string ZshScript(const CompletedCommand& tool) {
    std::string script = "#compdef " + tool.name +
                         "\n\n"
                         "_kwlookup() {\n"
                         "    local command= word\n"
                         "    local -a arguments flags\n"
                         "    for word in \"${(@)words[2,CURRENT-1]}\"; do\n" +
                         FindCommand(tool) +
                         "    done\n"
                         "    case \"$command:${words[CURRENT-1]}\" in\n";
    ForEachCommand(tool, "", [&script](const CompletedCommand& command, const std::string& path) {
        std::string commands;
        for (const std::string& choice : command.choices)
            commands += " " + Quoted(choice);
        for (const CompletedCommand& next : command.commands)
            commands += Described(next.name, next.description);
        std::string options;
        for (const CompletedCommand::Option& option : command.options)
            for (const std::string& name : option.names) {
                options += Described(name, option.description);
                if (!option.has_value)
                    continue;
                script += "    " + Quoted(path + ":" + name) + ") arguments=(";
                for (const std::string& choice : option.choices)
                    script += " " + Quoted(choice);
                script += " ) ;;\n";
            }
        script += "    " + Quoted(path + ":") + "*) arguments=(" + commands + " ) flags=(" +
                  options + " ) ;;\n";
    });
    return script +
           "    esac\n"
           "    if [[ $PREFIX == -* ]]; then\n"
           "        _describe -o option flags\n"
           "    elif (( $#arguments )); then\n"
           "        _describe argument arguments\n"
           "    else\n"
           "        _files\n"
           "    fi\n"
           "}\n\n"
           "# This file works in a directory of $fpath, and also when it is sourced.\n"
           "if [[ ${funcstack[1]-} == _kwlookup ]]; then\n"
           "    _kwlookup \"$@\"\n"
           "else\n"
           "    compdef _kwlookup " +
           tool.name + "\nfi\n";
}

std::string FishScript(const CompletedCommand& tool) {
    const std::string complete = "complete -c " + tool.name;
    std::string script = "# fish completion of " + tool.name + "\n\n";
    ForEachCommand(tool, "", [&](const CompletedCommand& command, const std::string& path) {
        // True if all words of the path are present and no subcommand follows them.
        std::string where;
        for (std::size_t begin = 0; begin < path.size();) {
            const std::size_t end = std::min(path.find(' ', begin), path.size());
            where += "__fish_seen_subcommand_from " + path.substr(begin, end - begin) + "; and ";
            begin = end + 1;
        }
        std::vector<std::string> further;
        for (const CompletedCommand& next : command.commands)
            further.push_back(next.name);
        where +=
            further.empty() ? "true" : "not __fish_seen_subcommand_from " + Joined(further, " ");
        const std::string here = complete + " -n " + Quoted(where);
        for (const CompletedCommand& next : command.commands)
            script +=
                here + " -f -a " + Quoted(next.name) + " -d " + Quoted(next.description) + "\n";
        if (!command.choices.empty())
            script += here + " -f -a " + Quoted(Joined(command.choices, " ")) + "\n";
        for (const CompletedCommand::Option& option : command.options) {
            script += here;
            for (const std::string& name : option.names)
                script += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2)
                                                        : " -s " + name.substr(1);
            if (option.has_value)
                script += option.choices.empty() ? " -r -F"
                                                 : " -x -a " + Quoted(Joined(option.choices, " "));
            script += " -d " + Quoted(option.description) + "\n";
        }
    });
    return script;
}

} // namespace

std::string CompletionScript(const std::string& shell, const CompletedCommand& tool) {
    return shell == "bash" ? BashScript(tool) : shell == "zsh" ? ZshScript(tool) : FishScript(tool);
}

} // namespace kwlookup
