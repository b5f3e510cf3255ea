// SPDX-License-Identifier: MIT
// Whole programs, from start to end, with a list of 1,000,000 strings and as many keys on standard
// input. The environment names them: KWLOOKUP_BENCH_TOOL, and KWLOOKUP_BENCH_POSTMAP, which may be
// unset.
#include "bench/BenchData.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

/// The keys that are in the list, in the order of the searches.
std::vector<std::string> Hits() {
    const Keys keys = Keys::Read(false);
    std::vector<std::string> hits;
    for (std::size_t i = 0; i < keys.texts.size(); ++i)
        if (keys.in_list[i])
            hits.push_back(keys.texts[i]);
    return hits;
}

/// The keys in the output of a program, which prints a line for each hit: the key, a tab, a result.
std::vector<std::string> FirstColumn(const std::string& name) {
    std::vector<std::string> lines = ReadLines(name);
    for (std::string& line : lines)
        line.erase(std::min(line.find('\t'), line.size()));
    return lines;
}

void RunProcess(benchmark::State& state, const std::string& command, const std::string& keys) {
    static const std::vector<std::string> hits = Hits();
    const std::string whole =
        command + " < '" + DataFile(keys) + "' > '" + DataFile("answers") + "'";
    for (auto _ : state)
        if (std::system(whole.c_str()) != 0)
            state.SkipWithError("failed");
    if (FirstColumn("answers") != hits)
        state.SkipWithError("wrong answers");
}

void Register(const char* name, const char* program, const std::string& arguments,
              const std::string& keys = "keys") {
    if (const char* path = std::getenv(program))
        benchmark::RegisterBenchmark(name, RunProcess, path + arguments, keys)
            ->Iterations(1)
            ->UseRealTime();
}

const bool registered = [] {
    Register("process/kwlookup", "KWLOOKUP_BENCH_TOOL",
             " find --exact 'file:" + DataFile("list") + "' -");
    Register("process/postmap_cdb", "KWLOOKUP_BENCH_POSTMAP",
             " -q - 'cdb:" + DataFile("list.postmap") + "'");
    Register("process_default/kwlookup", "KWLOOKUP_BENCH_TOOL",
             " find 'file:" + DataFile("list.results") + "' -");
    Register("process_default/postmap_cdb", "KWLOOKUP_BENCH_POSTMAP",
             " -q - 'cdb:" + DataFile("list.postmap") + "'", "keys.server");
    return true;
}();

} // namespace
