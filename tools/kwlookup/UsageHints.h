// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace kwlookup {

/// Tells on standard error what is wrong with the command line `arguments`, which `app` could not
/// read for the reason `error`, with a line that would have worked where one is known. Also prints
/// the help or the version, where `error` stands for that; returns true then.
bool TellUsage(const CLI::App& app, const CLI::ParseError& error,
               const std::vector<std::string>& arguments);

} // namespace kwlookup
