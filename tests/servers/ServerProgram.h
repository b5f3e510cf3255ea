// SPDX-License-Identifier: MIT
#pragma once

#include "support/RunProgram.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The full name of `path` among the unpacked servers. Throws std::runtime_error if it does not
/// exist, because tests/servers/unpack_servers has not run.
std::string ServerFile(const std::string& path);

/// The command line that runs `arguments`. The first one is a program of the unpacked servers. It
/// gets their libraries and an environment of its own, and runs as nobody if we are root. The
/// kernel kills it when the thread that started it ends.
std::vector<std::string> ServerCommand(const std::vector<std::string>& arguments);

/// Runs a program of the unpacked servers, and returns its output. Throws std::runtime_error with
/// its messages if it fails.
std::string RunServerProgram(const std::vector<std::string>& arguments,
                             const std::string& input = "");

/// Make the user that servers run as the owner of a file or directory.
void GiveToServer(const std::string& path);

} // namespace kwlookup
