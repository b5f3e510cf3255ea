// SPDX-License-Identifier: MIT
// Exact search in a list of 1,000,000 strings: the lookup, compared with alternatives.
#include "bench/BenchData.h"
#include "lookup/builtin/KwFileLookup.h"

#include <absl/container/flat_hash_set.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cdb.h>
#include <fcntl.h>
#include <locale>
#include <malloc.h>
#include <sqlite3.h>
#include <unordered_set>

namespace {

using namespace kwlookup;

class KeyFinder : public KwLookupFinder {
public:
    explicit KeyFinder(const std::string& key) : m_key(key) {}
    bool Match(const std::string& value) const override { return value == m_key; }
    TextRange GetRequest() const override { return TextRange(m_key.begin(), m_key.end()); }

private:
    const std::string& m_key;
};

std::size_t HeapBytes() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// The lookup, searched once so that it is sorted.
class Lookup {
public:
    explicit Lookup(int flags) : m_flags(flags) {
        const std::size_t empty = HeapBytes();
        m_lookup.Init(DataFile("list"));
        const std::size_t loaded = HeapBytes();
        (*this)("nobody@nowhere.example");
        m_load_bytes = loaded - empty;
        m_sort_bytes = HeapBytes() - loaded;
    }

    bool operator()(const std::string& key) const {
        return m_lookup.Find(KeyFinder(key), nullptr, m_flags, nullptr);
    }

    /// The heap memory for each string after loading, and the memory that the sort adds.
    double GetLoadBytes() const { return static_cast<double>(m_load_bytes) / LIST_SIZE; }
    double GetSortBytes() const { return static_cast<double>(m_sort_bytes) / LIST_SIZE; }

private:
    const int m_flags;
    KwFileLookup m_lookup;
    std::size_t m_load_bytes = 0;
    std::size_t m_sort_bytes = 0;
};

/// Compares by `fold` of each character.
template <typename Fold>
bool LessFolded(const std::string& left, const std::string& right, const Fold& fold) {
    const std::size_t size = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < size; ++i) {
        const char l = fold(left[i]);
        const char r = fold(right[i]);
        if (l != r)
            return l < r;
    }
    return left.size() < right.size();
}

struct LessByChar {
    bool operator()(const std::string& left, const std::string& right) const {
        return LessFolded(left, right, [](char c) { return c; });
    }
};

struct LessByLocale {
    bool operator()(const std::string& left, const std::string& right) const {
        return LessFolded(left, right, [](char c) { return std::toupper(c, std::locale()); });
    }
};

/// Reads the global locale once, in its constructor.
struct LessByTable {
    std::array<char, 256> table;

    LessByTable() {
        const std::locale locale;
        const auto& ctype = std::use_facet<std::ctype<char>>(locale);
        for (std::size_t byte = 0; byte < table.size(); ++byte)
            table[byte] = ctype.toupper(static_cast<char>(byte));
    }

    bool operator()(const std::string& left, const std::string& right) const {
        return LessFolded(left, right,
                          [this](char c) { return table[static_cast<unsigned char>(c)]; });
    }
};

/// The textbook solution: std::lower_bound in a sorted vector.
template <typename Less>
class SortedVector {
public:
    SortedVector() : m_strings(ReadLines("list")) {
        std::sort(m_strings.begin(), m_strings.end(), Less());
    }

    bool operator()(const std::string& key) const {
        const Less less;
        const auto found = std::lower_bound(m_strings.begin(), m_strings.end(), key, less);
        return found != m_strings.end() && !less(key, *found);
    }

private:
    std::vector<std::string> m_strings;
};

std::string UpperCopy(const std::string& text) {
    std::string upper(text);
    const std::locale locale;
    std::use_facet<std::ctype<char>>(locale).toupper(upper.data(), upper.data() + upper.size());
    return upper;
}

template <typename Set>
class HashSet {
public:
    HashSet() {
        m_set.reserve(LIST_SIZE);
        for (const std::string& text : ReadLines("list"))
            m_set.insert(text);
    }
    bool operator()(const std::string& key) const { return m_set.find(key) != m_set.end(); }

private:
    Set m_set;
};

class UpperHashSet {
public:
    UpperHashSet() {
        m_set.reserve(LIST_SIZE);
        for (const std::string& text : ReadLines("list"))
            m_set.insert(UpperCopy(text));
    }
    bool operator()(const std::string& key) const { return m_set.contains(UpperCopy(key)); }

private:
    absl::flat_hash_set<std::string> m_set;
};

class Cdb {
public:
    Cdb() {
        if (cdb_init(&m_cdb, ::open(DataFile("list.tinycdb").c_str(), O_RDONLY)) != 0)
            Fail("cannot open " + DataFile("list.tinycdb"));
    }
    bool operator()(const std::string& key) const {
        return cdb_find(&m_cdb, key.data(), static_cast<unsigned>(key.size())) > 0;
    }

private:
    mutable struct cdb m_cdb;
};

class Sqlite {
public:
    Sqlite() {
        sqlite3* db = nullptr;
        if (sqlite3_open_v2(DataFile("list.sqlite").c_str(), &db, SQLITE_OPEN_READONLY, nullptr) ||
            sqlite3_exec(db, "PRAGMA mmap_size = 1000000000", nullptr, nullptr, nullptr) ||
            sqlite3_prepare_v2(db, "SELECT 1 FROM list WHERE key = ?", -1, &m_query, nullptr))
            Fail("cannot open " + DataFile("list.sqlite"));
    }
    bool operator()(const std::string& key) const {
        sqlite3_bind_text(m_query, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
        const bool found = sqlite3_step(m_query) == SQLITE_ROW;
        sqlite3_reset(m_query);
        return found;
    }

private:
    sqlite3_stmt* m_query = nullptr;
};

/// Search for `count` keys in a round, for other ones in each thread and round, and check every
/// answer.
template <typename Search>
void Ask(benchmark::State& state, const Search& search, const Keys& keys, std::size_t count) {
    static std::atomic<std::size_t> round{0};
    std::size_t wrong = 0;
    for (auto _ : state) {
        std::size_t key = count * round++ % keys.texts.size();
        for (std::size_t i = 0; i < count; ++i) {
            wrong += search(keys.texts[key]) != (keys.in_list[key] != 0);
            if (++key == keys.texts.size())
                key = 0;
        }
    }
    if (wrong != 0)
        state.SkipWithError("wrong answers");
    state.SetItemsProcessed(static_cast<std::int64_t>(count) * state.iterations());
}

/// All variants, made in one order, so that the heap looks the same in every run.
struct Variants {
    Keys case_keys = Keys::Read(false);
    Keys nocase_keys = Keys::Read(true);
    Lookup case_lookup{FIND_EXACT};
    Lookup nocase_lookup{FIND_EXACT | FIND_NOCASE};
    SortedVector<LessByChar> by_char;
    SortedVector<LessByLocale> by_locale;
    SortedVector<LessByTable> by_table;
    HashSet<std::unordered_set<std::string>> unordered_set;
    HashSet<absl::flat_hash_set<std::string>> absl_set;
    UpperHashSet absl_upper_set;
    Cdb cdb;
    Sqlite sqlite;
};

const Variants& All() {
    static const Variants variants;
    return variants;
}

template <auto Search>
void Case(benchmark::State& state) {
    Ask(state, All().*Search, All().case_keys, static_cast<std::size_t>(state.range(0)));
}

template <auto Search>
void Nocase(benchmark::State& state) {
    Ask(state, All().*Search, All().nocase_keys, static_cast<std::size_t>(state.range(0)));
}

/// Not a time: the heap that a string of the list takes.
void SortBytes(benchmark::State& state) {
    for (auto _ : state)
        state.counters["vector"] = All().case_lookup.GetLoadBytes();
    state.counters["case"] = All().case_lookup.GetSortBytes();
    state.counters["nocase"] = All().nocase_lookup.GetSortBytes();
}

// So that fast and slow searches have rounds of about the same time.
constexpr int MANY = 1000000, FEW = 100000;

void Register(const char* name, void (*function)(benchmark::State&), int keys_a_round) {
    benchmark::RegisterBenchmark(name, function)->Arg(keys_a_round)->Iterations(1);
}

const bool registered = [] {
    Register("case/kwlookup", Case<&Variants::case_lookup>, MANY);
    Register("case/lower_bound", Case<&Variants::by_char>, FEW);
    Register("case/unordered_set", Case<&Variants::unordered_set>, MANY);
    Register("case/absl", Case<&Variants::absl_set>, MANY);
    Register("case/cdb", Case<&Variants::cdb>, MANY);
    Register("case/sqlite", Case<&Variants::sqlite>, FEW);
    Register("nocase/kwlookup", Nocase<&Variants::nocase_lookup>, MANY);
    Register("nocase/lower_bound_locale", Nocase<&Variants::by_locale>, FEW);
    Register("nocase/lower_bound_table", Nocase<&Variants::by_table>, FEW);
    Register("nocase/absl_upper_copy", Nocase<&Variants::absl_upper_set>, MANY);
    benchmark::RegisterBenchmark("threads/kwlookup", Case<&Variants::case_lookup>)
        ->Arg(MANY)
        ->Iterations(1)
        ->UseRealTime()
        ->ThreadRange(1, 2);
    benchmark::RegisterBenchmark("bytes/kwlookup", SortBytes)->Iterations(1);
    return true;
}();

} // namespace
