// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// A command as a shell completes it: its options, and the commands that may follow it.
struct CompletedCommand {
    struct Option {
        std::vector<std::string> names; ///< with their dashes
        std::string description;
        bool has_value = false;
        std::vector<std::string> choices; ///< the values that it takes; none: a file's name
    };

    std::string name;
    std::string description;
    std::vector<Option> options; ///< those of the commands before it included
    std::vector<CompletedCommand> commands;
    std::vector<std::string> choices; ///< the values of its arguments; none: files' names
};

/// The script that makes a shell ("bash", "zsh" or "fish") complete `tool`.
std::string CompletionScript(const std::string& shell, const CompletedCommand& tool);

} // namespace kwlookup
