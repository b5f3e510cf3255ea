// SPDX-License-Identifier: MIT
// The default search, by address in a list of 1,000,000 lines of which every second one has a
// result, compared with a walk and with the exact search that ignores case.
#include "bench/BenchData.h"
#include "host/LogClass.h"
#include "kwhost/AddressFinder.h"
#include "lookup/KwLookupHolder.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <memory>
#include <optional>

namespace {

using namespace kwlookup;

/// Hides the keys of the finder, so that the list is walked.
class WalkFinder : public KwLookupFinder {
public:
    explicit WalkFinder(const std::string& text) : m_finder(text) {}
    bool Match(const std::string& value) const override { return m_finder.Match(value); }
    TextRange GetRequest() const override { return m_finder.GetRequest(); }
    std::string GetRes() const override { return m_finder.GetRes(); }
    void ClearRes() const override { m_finder.ClearRes(); }

private:
    const AddressFinder m_finder;
};

const LogClass g_log{""};

double HeapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// A list of one file in the data directory, searched once so that its index is made.
class List {
public:
    List(const char* file, int flags) : m_flags(flags) {
        m_holder.Init("file:" + DataFile(file));
        const double loaded = HeapBytes();
        Ask<AddressFinder>("nobody@nowhere.example");
        m_index_bytes = (HeapBytes() - loaded) / LIST_SIZE;
    }

    template <typename Finder>
    bool Ask(const std::string& text) const {
        std::string res;
        return m_holder.Find(Finder(text), &res, m_flags, nullptr);
    }

    double GetIndexBytes() const { return m_index_bytes; }

private:
    const int m_flags;
    KwLookupHolder m_holder{g_log};
    double m_index_bytes = 0;
};

const Keys& TheKeys() {
    static const Keys keys = Keys::Read(true);
    return keys;
}

const List& DefaultList() {
    static const List list("list.results", 0);
    return list;
}

const List& ExactList() {
    static const List list("list", FIND_EXACT | FIND_NOCASE);
    return list;
}

/// Search for `count` keys in a round, for other ones in each round, and check every answer.
template <typename Finder>
void Ask(benchmark::State& state, const List& list) {
    static std::size_t next = 0;
    const auto count = static_cast<std::size_t>(state.range(0));
    const Keys& keys = TheKeys();
    std::size_t wrong = 0;
    for (auto _ : state)
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t key = next++ % keys.texts.size();
            wrong += list.Ask<Finder>(keys.texts[key]) != (keys.in_list[key] != 0);
        }
    if (wrong != 0)
        state.SkipWithError("wrong answers");
    state.SetItemsProcessed(static_cast<std::int64_t>(count) * state.iterations());
}

void AskDefault(benchmark::State& state) {
    Ask<AddressFinder>(state, DefaultList());
}
void AskWalk(benchmark::State& state) {
    Ask<WalkFinder>(state, DefaultList());
}
void AskExact(benchmark::State& state) {
    Ask<AddressFinder>(state, ExactList());
}

/// Measure the time from the start of loading to the first answer.
void FirstAnswer(benchmark::State& state, const char* file, int flags) {
    for (auto _ : state) {
        std::optional<List> list;
        list.emplace(file, flags);
        state.PauseTiming();
        list.reset();
        // So that the next round does not have to clean up the heap.
        ::malloc_trim(0);
        state.ResumeTiming();
    }
}

/// Not a time: the heap that the index takes for each string of the list.
void IndexBytes(benchmark::State& state) {
    for (auto _ : state)
        state.counters["kwlookup"] = DefaultList().GetIndexBytes();
}

const bool registered = [] {
    // So that fast and slow searches have rounds of about the same time.
    benchmark::RegisterBenchmark("default/kwlookup", AskDefault)->Arg(1000000)->Iterations(1);
    benchmark::RegisterBenchmark("default/exact_nocase", AskExact)->Arg(1000000)->Iterations(1);
    benchmark::RegisterBenchmark("default/walk", AskWalk)->Arg(20)->Iterations(1);
    benchmark::RegisterBenchmark("first/default", FirstAnswer, "list", 0)->Iterations(1);
    benchmark::RegisterBenchmark("first/exact", FirstAnswer, "list", FIND_EXACT + 0)->Iterations(1);
    benchmark::RegisterBenchmark("bytes_default/kwlookup", IndexBytes)->Iterations(1);
    return true;
}();

} // namespace
