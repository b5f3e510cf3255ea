// SPDX-License-Identifier: MIT
#pragma once

#include <string>

struct BuildOptions {
    std::string input; ///< "-" stands for standard input
    std::string output;
    bool keep_case = false;
};

/// `kwlookup build cdb`: turns lines "KEY VALUE" into a cdb file, which takes its name once it is
/// whole and on the disk. Throws std::runtime_error "FILE: REASON".
void RunBuildCommand(const BuildOptions& options);
