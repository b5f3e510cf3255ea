// SPDX-License-Identifier: MIT
#pragma once

#include "support/RunProgram.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The full name of `path` among the unpacked servers. Throws std::runtime_error when it is not
/// there: then tests/servers/unpack_servers has not run.
std::string ServerFile(const std::string& path);

/// The command line that runs `arguments`, of which the first is a program of the unpacked servers:
/// with their libraries, in an environment of its own, as nobody when we are root.
/// The kernel kills it when the thread that starts it ends.
std::vector<std::string> ServerCommand(const std::vector<std::string>& arguments);

/// Runs a program of the unpacked servers to its end and gives what it printed.
/// Throws std::runtime_error with its messages when it fails.
std::string RunServerProgram(const std::vector<std::string>& arguments,
                             const std::string& input = "");

/// Makes a file or directory belong to the user whom servers run as.
void GiveToServer(const std::string& path);

} // namespace kwlookup
