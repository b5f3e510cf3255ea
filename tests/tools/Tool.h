// SPDX-License-Identifier: MIT
#pragma once

#include "support/RunProgram.h"

#include <string>
#include <utility>
#include <vector>

/// The exit statuses of the tool.
enum {
    Found = 0,
    Same = 0,
    NotFound = 1,
    Different = 1,
    Usage = 64,
    Output = 74,
    Unavailable = 75,
    BadList = 78
};

/// The environment of the tool, in which it finds the plug-ins of the tests before the real ones.
inline const std::vector<std::string> TOOL_ENVIRONMENT = {"LD_LIBRARY_PATH=" TOOL_PLUGIN_DIR
                                                          ":" PLUGIN_DIR};

inline std::vector<std::string> ToolArguments(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), KWLOOKUP_TOOL);
    return arguments;
}

/// Run the tool with `arguments`, and `input` as its standard input.
inline ProgramResult RunTool(std::vector<std::string> arguments, const std::string& input = "") {
    return RunProgram(ToolArguments(std::move(arguments)), input, TOOL_ENVIRONMENT);
}

/// Run the tool from a shell command, in which "$@" stands for the tool and its arguments.
inline ProgramResult RunToolInShell(const std::string& command,
                                    std::vector<std::string> arguments) {
    std::vector<std::string> all = {"/bin/sh", "-c", command, "sh"};
    for (std::string& argument : ToolArguments(std::move(arguments)))
        all.push_back(std::move(argument));
    return RunProgram(all, "", TOOL_ENVIRONMENT);
}

/// Compares all members.
inline bool operator==(const ProgramResult& l, const ProgramResult& r) {
    return l.status == r.status && l.out == r.out && l.err == r.err;
}

template <typename Stream>
Stream& operator<<(Stream& stream, const ProgramResult& result) {
    stream << "status " << result.status << "\nout [" << result.out << "]\nerr [" << result.err
           << "]";
    return stream;
}
