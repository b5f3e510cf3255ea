// SPDX-License-Identifier: MIT
// Files of patterns: the engine of the plug-in, compared with a plain loop over compiled patterns.
#define PCRE2_CODE_UNIT_WIDTH 8
#include "bench/BenchData.h"
#include "plugins/rfile/PatternFile.h"

#include <benchmark/benchmark.h>
#include <pcre2.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <unistd.h>

using namespace kwlookup;

namespace {

constexpr std::size_t NONE = ~std::size_t(0);

/// The memory of the process, including machine code.
double ResidentBytes() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

/// Makes patterns as administrators write them, each with an address that it matches.
class PatternSource {
public:
    struct Pattern {
        std::string text;
        std::string match;
    };

    Pattern Next() {
        std::string name = m_addresses.Next();
        std::string domain = name.substr(name.find('@') + 1);
        name.resize(name.find('@'));
        const std::size_t dot = domain.find('.');
        const std::string host = domain.substr(0, dot);
        const std::string rest = domain.substr(dot + 1);
        const std::string number = std::to_string(m_random.Below(10000));
        switch (m_random.Below(7)) {
        case 0:
            return {"^" + name + "-[0-9]+@", name + "-" + number + "@corp.example"};
        case 1:
            return {"@(mail|mx|smtp)[0-9]*\\." + Quoted(domain) + "$", "info@mx2." + domain};
        case 2:
            return {"^bounces?[-+].*@" + Quoted(domain) + "$", "bounce-" + number + "@" + domain};
        case 3:
            return {"[@.]" + Quoted(domain) + ">?$", "news@lists." + domain};
        case 4:
            return {name + "[._-]?" + host, name + "." + host + "@corp.example"};
        case 5:
            return {"^(no|do-?not)-?reply.*@.*\\b" + host + "\\.(com|net|org|info)$",
                    "no-reply@mail." + host + ".info"};
        default:
            return {"@[a-z0-9.-]*" + host + "[a-z0-9-]*\\." + Quoted(rest) + "$",
                    "jdoe@web-" + host + "24." + rest};
        }
    }

private:
    static std::string Quoted(const std::string& text) {
        std::string quoted;
        for (const char c : text) {
            if (c == '.')
                quoted += '\\';
            quoted += c;
        }
        return quoted;
    }

    AddressSource m_addresses{11};
    Random m_random{12};
};

/// Tries one pattern after the other, compiled to machine code.
class Loop {
public:
    explicit Loop(const std::vector<std::string>& patterns) {
        for (const std::string& pattern : patterns) {
            int error = 0;
            std::size_t offset = 0;
            pcre2_code* code =
                pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_CASELESS, &error, &offset, nullptr);
            if (!code || pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) != 0)
                Fail("cannot compile " + pattern);
            m_codes.push_back(code);
        }
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop() {
        pcre2_match_data_free(m_data);
        for (pcre2_code* code : m_codes)
            pcre2_code_free(code);
    }

    std::size_t Find(const std::string& text) const {
        for (std::size_t i = 0; i < m_codes.size(); ++i)
            if (pcre2_jit_match(m_codes[i], reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                                0, 0, m_data, nullptr) >= 0)
                return i;
        return NONE;
    }

private:
    std::vector<pcre2_code*> m_codes;
    pcre2_match_data* m_data = pcre2_match_data_create(1, nullptr);
};

/// The given number of patterns, in both forms, and addresses of which every second one matches.
struct Setting {
    explicit Setting(std::size_t count) : file_name(DataFile("patterns" + std::to_string(count))) {
        PatternSource source;
        std::ofstream file(file_name);
        std::vector<std::string> matches;
        for (std::size_t i = 0; i < count; ++i) {
            const PatternSource::Pattern pattern = source.Next();
            patterns.push_back(pattern.text);
            matches.push_back(pattern.match);
            file << pattern.text << '\n';
        }
        if (!file.flush())
            Fail("cannot write " + file_name);
        AddressSource addresses(13);
        Random random(14);
        for (std::size_t i = 0; i < TEXTS; ++i)
            texts.push_back(i % 2 ? matches[random.Below(count)] : addresses.Next());

        double before = ResidentBytes();
        list = ReadPatternFile(file_name, Pcre2Pattern::IgnoreCase);
        list_bytes = ResidentBytes() - before;
        before = ResidentBytes();
        loop.emplace(patterns);
        loop_bytes = ResidentBytes() - before;
        for (const std::string& text : texts)
            if (Find(text) != loop->Find(text))
                Fail("other answers for " + text);
    }

    std::size_t Find(const std::string& text) const {
        const PatternList::Rule* rule = list->Find(text, limits, nullptr);
        return rule ? rule->line - 1 : NONE;
    }

    static constexpr std::size_t TEXTS = 2000;

    std::string file_name;
    std::vector<std::string> patterns;
    std::vector<std::string> texts;
    std::unique_ptr<const PatternList> list;
    std::optional<Loop> loop;
    PatternLimits limits;
    double list_bytes = 0;
    double loop_bytes = 0;
};

template <std::size_t Count>
const Setting& Of() {
    static const Setting setting(Count);
    return setting;
}

template <std::size_t Count>
void FindKwlookup(benchmark::State& state) {
    const Setting& setting = Of<Count>();
    for (auto _ : state)
        for (const std::string& text : setting.texts)
            benchmark::DoNotOptimize(setting.Find(text));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(setting.texts.size()));
}

template <std::size_t Count>
void FindLoop(benchmark::State& state) {
    const Setting& setting = Of<Count>();
    const std::size_t texts = std::min<std::size_t>(Setting::TEXTS, 2000000 / Count);
    for (auto _ : state)
        for (std::size_t i = 0; i < texts; ++i)
            benchmark::DoNotOptimize(setting.loop->Find(setting.texts[i]));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(texts));
}

void LoadKwlookup(benchmark::State& state) {
    const Setting& setting = Of<10000>();
    for (auto _ : state)
        ReadPatternFile(setting.file_name, Pcre2Pattern::IgnoreCase);
}

void LoadLoop(benchmark::State& state) {
    const Setting& setting = Of<10000>();
    for (auto _ : state)
        Loop loop(setting.patterns);
}

/// Not a time: the memory that 10,000 loaded patterns take.
void Bytes(benchmark::State& state) {
    const Setting& setting = Of<10000>();
    for (auto _ : state)
        state.counters["kwlookup"] = setting.list_bytes;
    state.counters["loop"] = setting.loop_bytes;
}

BENCHMARK_TEMPLATE(FindKwlookup, 10)->Name("patterns10/kwlookup")->Iterations(100);
BENCHMARK_TEMPLATE(FindLoop, 10)->Name("patterns10/loop")->Iterations(100);
BENCHMARK_TEMPLATE(FindKwlookup, 1000)->Name("patterns1000/kwlookup")->Iterations(20);
BENCHMARK_TEMPLATE(FindLoop, 1000)->Name("patterns1000/loop")->Iterations(1);
BENCHMARK_TEMPLATE(FindKwlookup, 10000)->Name("patterns10000/kwlookup")->Iterations(20);
BENCHMARK_TEMPLATE(FindLoop, 10000)->Name("patterns10000/loop")->Iterations(1);
BENCHMARK(LoadKwlookup)->Name("load_patterns/kwlookup")->Iterations(1);
BENCHMARK(LoadLoop)->Name("load_patterns/loop")->Iterations(1);
BENCHMARK(Bytes)->Name("bytes_patterns/kwlookup")->Iterations(1);

} // namespace
