// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// What a shell completes after a command: its options and subcommands.
struct CompletedCommand {
    struct Option {
        std::vector<std::string> names; ///< with their dashes
        std::string description;
        bool has_value = false;
        std::vector<std::string> choices; ///< the possible values; empty for a file name
    };

    std::string name;
    std::string description;
    std::vector<Option> options; ///< also those of its parent commands
    std::vector<CompletedCommand> commands;
    std::vector<std::string> choices; ///< the possible arguments; empty for file names
};

/// The script that makes `shell` ("bash", "zsh" or "fish") complete the commands of `tool`.
std::string CompletionScript(const std::string& shell, const CompletedCommand& tool);

} // namespace kwlookup
