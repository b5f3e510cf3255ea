// SPDX-License-Identifier: MIT
// Loading a file of 1,000,000 lines.
#include "bench/BenchData.h"
#include "lookup/builtin/KwFileLookup.h"

#include <benchmark/benchmark.h>
#include <boost/algorithm/string/trim.hpp>

#include <fstream>
#include <malloc.h>
#include <optional>

namespace {

using namespace kwlookup;

std::vector<std::string> LoadByGetline(const std::string& name) {
    std::ifstream file(name);
    std::vector<std::string> records;
    for (std::string line; std::getline(file, line);) {
        boost::trim(line);
        if (!line.empty())
            records.push_back(line);
    }
    return records;
}

/// Collects the values of a list, and matches none.
class CollectingFinder : public KwLookupFinder {
public:
    bool Match(const std::string& value) const override {
        seen.push_back(value);
        return false;
    }
    TextRange GetRequest() const override { return TextRange(); }

    mutable std::vector<std::string> seen;
};

std::vector<std::string> Records(const KwFileLookup& lookup) {
    CollectingFinder finder;
    std::string res;
    lookup.Find(finder, &res, 0, nullptr);
    return std::move(finder.seen);
}

void LoadKwlookup(benchmark::State& state) {
    const std::string name = DataFile("list");
    for (auto _ : state) {
        std::optional<KwFileLookup> lookup;
        lookup.emplace();
        lookup->Init(name);
        state.PauseTiming();
        if (Records(*lookup) != LoadByGetline(name))
            state.SkipWithError("other records");
        lookup.reset();
        // So that the next round does not have to clean up the heap.
        ::malloc_trim(0);
        state.ResumeTiming();
    }
}

void LoadGetline(benchmark::State& state) {
    const std::string name = DataFile("list");
    for (auto _ : state) {
        std::optional<std::vector<std::string>> records = LoadByGetline(name);
        state.PauseTiming();
        if (records->size() != LIST_SIZE)
            state.SkipWithError("other records");
        records.reset();
        // So that the next round does not have to clean up the heap.
        ::malloc_trim(0);
        state.ResumeTiming();
    }
}

BENCHMARK(LoadKwlookup)->Name("load/kwlookup")->Iterations(1);
BENCHMARK(LoadGetline)->Name("load/getline_trim")->Iterations(1);

} // namespace
