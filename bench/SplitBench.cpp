// SPDX-License-Identifier: MIT
// Splitting lists of 100,000 and 200,000 items.
#include "bench/BenchData.h"
#include "conf/ConfParser.h"

#include <benchmark/benchmark.h>
#include <boost/algorithm/string/trim.hpp>

#include <array>
#include <optional>
#include <stdexcept>

namespace {

using Split = void (*)(const std::string&, std::vector<std::string>&, char);

/// The obvious solution: append each character to the item.
void SplitByChar(const std::string& value, std::vector<std::string>& out, char separator) {
    out.clear();
    std::string item;
    bool escaped = false, quoted = false;
    const auto finish_item = [&] {
        boost::trim(item);
        ConfParser::TrimString(item);
        out.push_back(item);
        item.clear();
    };
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '\\') {
            if (escaped) {
                item += c;
                escaped = false;
                continue;
            }
            if (i + 1 < value.size() && value[i + 1] != separator && value[i + 1] != '\\' &&
                value[i + 1] != '"')
                item += c;
            escaped = true;
        } else if (escaped) {
            item += c;
            escaped = false;
        } else if (c == '"') {
            quoted = !quoted;
            item += c;
        } else if (c == separator && !quoted) {
            finish_item();
        } else {
            item += c;
        }
    }
    if (quoted)
        throw std::invalid_argument("can't find final '\"' symbol");
    if (escaped)
        throw std::invalid_argument("can't find sybol after '\\'");
    if (!item.empty())
        finish_item();
}

/// A list of addresses. `quoted` percent of them are quoted, `escaped` percent have an escape.
std::string MakeList(std::size_t items, std::size_t quoted, std::size_t escaped) {
    AddressSource addresses(1);
    Random random(3);
    std::string list;
    for (std::size_t i = 0; i < items; ++i) {
        std::string item = addresses.Next();
        if (random.Percent(escaped))
            item.insert(random.Below(item.size()), random.Percent(50) ? "\\," : "\\\\");
        else if (random.Percent(quoted * 100 / (100 - escaped)))
            item = "\"" + item.insert(random.Below(item.size()), ",") + "\"";
        list += item + ",";
    }
    list.pop_back();
    return list;
}

struct Mix {
    const char* name;
    std::size_t items, quoted, escaped;
};

constexpr std::array<Mix, 4> MIXES = {{{"plain", 100000, 0, 0},
                                       {"10_1", 100000, 10, 1},
                                       {"40_20", 100000, 40, 20},
                                       {"10_1_twice_as_long", 200000, 10, 1}}};

void RunSplit(benchmark::State& state, Split split, const Mix& mix) {
    const std::string list = MakeList(mix.items, mix.quoted, mix.escaped);
    std::vector<std::string> expected;
    SplitByChar(list, expected, ',');
    for (auto _ : state) {
        std::optional<std::vector<std::string>> items;
        items.emplace();
        split(list, *items, ',');
        state.PauseTiming();
        if (*items != expected || items->size() != mix.items)
            state.SkipWithError("other items");
        items.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(list.size()) * state.iterations());
}

const bool registered = [] {
    for (const Mix& mix : MIXES) {
        const std::string name = mix.name;
        benchmark::RegisterBenchmark(("split_" + name + "/kwlookup").c_str(), RunSplit,
                                     ConfParser::SplitVector, mix)
            ->Iterations(10);
        benchmark::RegisterBenchmark(("split_" + name + "/char_loop").c_str(), RunSplit,
                                     SplitByChar, mix)
            ->Iterations(10);
    }
    return true;
}();

} // namespace
