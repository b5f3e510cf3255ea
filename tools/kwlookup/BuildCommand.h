// SPDX-License-Identifier: MIT
#pragma once

#include "TableSource.h"
#include "Warnings.h"

#include <string>

namespace kwlookup {

struct BuildOptions {
    std::string input; ///< "-" stands for standard input
    std::string output;
    bool keep_case = false; ///< do not turn the letters A to Z of keys into lower case
    SourceFormat source = SourceFormat::Plain;
    Warnings::Mode warnings = Warnings::Mode::Tell;
};

/// `kwlookup build cdb`: makes a cdb file of the records of a text file. Returns the exit status.
/// Throws std::runtime_error "NAME: REASON"; the output file is then as it was before.
int RunBuildCommand(const BuildOptions& options, const LogClass& log);

} // namespace kwlookup
