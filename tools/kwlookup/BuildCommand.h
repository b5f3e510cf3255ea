// SPDX-License-Identifier: MIT
#pragma once

#include "TableSource.h"
#include "Warnings.h"

#include <string>

namespace kwlookup {

struct BuildOptions {
    std::string input; ///< "-" stands for standard input
    std::string output;
    bool keep_case = false; ///< do not convert the letters A to Z of keys to lower case
    SourceFormat source = SourceFormat::Plain;
    Warnings::Mode warnings = Warnings::Mode::Tell;
};

/// `kwlookup build cdb`: make a cdb file from the records of a text file. Returns the exit status.
/// Throws std::runtime_error "NAME: REASON"; the output file is unchanged then.
int RunBuildCommand(const BuildOptions& options, const LogClass& log);

} // namespace kwlookup
