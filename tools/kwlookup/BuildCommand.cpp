// SPDX-License-Identifier: MIT
#include "BuildCommand.h"

#include "ExitStatus.h"
#include "Field.h"
#include "Progress.h"
#include "SourceFile.h"
#include "TableWriter.h"
#include "text/AsciiLower.h"
#include "tools/lists/BoundedWarnings.h"
#include "tools/lists/Report.h"

#include <csignal>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace kwlookup {

namespace {

/// Records between two lines of progress: some tenths of a second.
constexpr std::size_t PROGRESS_STEP = 100000;

/// Write the records of `file`. Returns their number.
std::size_t AddRecords(SourceFile& file, const BuildOptions& options, Warnings& warnings,
                       TableWriter& writer) {
    BoundedWarnings bounded(warnings, file.GetName());
    Progress progress;
    std::size_t records = 0;
    std::string key;
    // postmap(1) keeps the first record with a key, and so does LMDB if keys have one value.
    const bool keep_first = options.source == SourceFormat::Postmap ||
                            (options.format == TableFormat::Lmdb && !options.all_values);
    std::unordered_map<std::string, std::size_t> lines; // of each key; empty if all are kept
    const auto add = [&](std::string_view text, std::string_view value, std::size_t line) {
        key.assign(text);
        if (!options.keep_case)
            key = AsciiLowerCase(std::move(key));
        if (keep_first) {
            const auto [first, is_new] = lines.emplace(key, line);
            if (!is_new) {
                bounded.Add(line, "duplicate keys",
                            "'" + key + "' is already in line " + std::to_string(first->second) +
                                "; this one is left out");
                return;
            }
        }
        writer.Add(key, value);
        if (++records % PROGRESS_STEP == 0)
            progress.Show(records);
    };
    ReadTableSource(file.GetLines(), file.GetName(), options.source, warnings, add);
    return records;
}

} // namespace

int RunBuildCommand(const BuildOptions& options, const LogClass& log) {
    SourceFile file(options.input);
    if (file.Is(options.output))
        throw std::runtime_error(options.output + ": is the file to read");
    std::signal(SIGXFSZ, SIG_IGN); // let the write that makes the file too large fail instead
    Warnings warnings(options.warnings, log);
    const std::unique_ptr<TableWriter> writer =
        options.format == TableFormat::Cdb ? MakeCdbWriter(options.output)
                                           : MakeLmdbWriter(options.output, options.all_values);
    const std::size_t records = AddRecords(file, options, warnings, *writer);
    if (warnings.GetErrorCount() != 0) {
        ReportError(log, options.output + ": not made, because warnings count as errors");
        return ExitStatus::BadList;
    }
    writer->Finish();
    std::string line;
    AppendField(line, options.output);
    std::cout << line << ": " << records << (records == 1 ? " record\n" : " records\n");
    return ExitStatus::Found;
}

} // namespace kwlookup
