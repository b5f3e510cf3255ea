// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace kwlookup {

/// Report on standard error why `app` could not parse the command line `arguments`, with a
/// corrected line if one is known. If `error` stands for --help or --version, print that and return
/// true.
bool PrintUsage(const CLI::App& app, const CLI::ParseError& error,
                const std::vector<std::string>& arguments);

} // namespace kwlookup
