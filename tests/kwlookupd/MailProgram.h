// SPDX-License-Identifier: MIT
#pragma once

#include "support/RunProgram.h"
#include "support/TempDir.h"

#include <string>
#include <vector>

/// The command line of a program of the unpacked mail servers with its own libraries. It runs as
/// nobody when we are root.
std::vector<std::string> MailCommand(const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& environment = {});

/// Runs such a program.
ProgramResult RunMailProgram(const std::vector<std::string>& arguments,
                             const std::string& input = "",
                             const std::vector<std::string>& environment = {});

/// Makes a file of Postfix look old. Programs of Postfix wait while main.cf has just changed.
void AgePostfixConfig(const std::string& file);

/// The environment in which Exim runs without being installed. Writes files to `dir`.
std::vector<std::string> EximEnvironment(const TempDir& dir);

/// The environment in which Sendmail finds the name of its host. Writes a file to `dir`.
std::vector<std::string> SendmailEnvironment(const TempDir& dir);

/// The lines of m4 for a Sendmail that listens at this port of 127.0.0.1. Its files are in `dir`.
std::string SendmailDaemonMacros(const TempDir& dir, int port);

/// Writes a configuration of Sendmail, made from the lines `macros` of m4, to `dir`, and returns
/// its name.
std::string WriteSendmailConfig(const TempDir& dir, const std::string& macros);
