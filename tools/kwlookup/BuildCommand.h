// SPDX-License-Identifier: MIT
#pragma once

#include "TableSource.h"
#include "tools/lists/Warnings.h"

#include <string>

namespace kwlookup {

enum class TableFormat { Cdb, Lmdb };

struct BuildOptions {
    TableFormat format = TableFormat::Cdb;
    std::string input; ///< "-" stands for standard input
    std::string output;
    bool keep_case = false;  ///< do not convert the letters A to Z of keys to lower case
    bool all_values = false; ///< LMDB: keep all records with a key, not only the first one
    SourceFormat source = SourceFormat::Plain;
    Warnings::Mode warnings = Warnings::Mode::Print;
};

/// `kwlookup build`: make a database file from the records of a text file. Returns the exit status.
/// Throws std::runtime_error "NAME: REASON"; the output file is unchanged then.
int RunBuildCommand(const BuildOptions& options, const LogClass& log);

} // namespace kwlookup
