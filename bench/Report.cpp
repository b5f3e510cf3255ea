// SPDX-License-Identifier: MIT
// Reads the JSON output of the benchmark programs and prints a table of ratios.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

/// The measurements of one benchmark, one for each round.
struct Figures {
    std::vector<double> nanoseconds; ///< of one item, or of one run if it has no items
    std::vector<double> slowest;     ///< that 99 % of the requests did not exceed, in microseconds
    std::map<std::string, double> counters;

    double GetMedian() const { return Median(nanoseconds); }
    double GetMedianOfSlowest() const { return Median(slowest); }
    double GetBest() const {
        const auto best = std::min_element(nanoseconds.begin(), nanoseconds.end());
        return best == nanoseconds.end() ? std::nan("") : *best;
    }

private:
    static double Median(std::vector<double> numbers) {
        std::sort(numbers.begin(), numbers.end());
        return numbers.empty() ? std::nan("") : numbers[numbers.size() / 2];
    }
};

using Results = std::map<std::string, Figures>;

/// Shortens "case/absl/500000/iterations:1" to "case/absl", plus the number of threads if any.
std::string ShortName(const std::string& name) {
    const std::size_t end = name.find('/', name.find('/') + 1);
    const std::size_t threads = name.find("/threads:");
    return name.substr(0, end) + (threads == std::string::npos ? "" : name.substr(threads));
}

bool ReadResults(const char* file_name, Results& results) {
    const nlohmann::json document = nlohmann::json::parse(std::ifstream(file_name));
    bool good = true;
    for (const auto& run : document.at("benchmarks")) {
        const std::string name = run.at("name");
        if (run.contains("error_occurred")) {
            std::printf("%s: %s\n", name.c_str(),
                        run.at("error_message").get<std::string>().c_str());
            good = false;
            continue;
        }
        if (run.at("run_type") != "iteration")
            continue;
        Figures& figures = results[ShortName(name)];
        // Other programs affect processor time less. Benchmarks of threads and programs need real
        // time.
        const bool real = name.find("/real_time") != std::string::npos;
        const double time = run.at(real ? "real_time" : "cpu_time");
        const double items = run.value("items_per_second", 0.0);
        figures.nanoseconds.push_back(items > 0 ? 1e9 / items : time);
        for (const char* counter : {"bytes", "case", "nocase", "vector", "kwlookup", "loop"})
            if (run.contains(counter))
                figures.counters[counter] = run.at(counter);
        if (run.contains("p99"))
            figures.slowest.push_back(run.at("p99"));
    }
    return good;
}

void Heading(const char* heading, const char* ours = "kwlookup", const char* other = "other") {
    std::printf("\n%-62s %9s %9s %8s  aim\n", heading, ours, other, "ratio");
}

enum class Aim { AtLeast, AtMost, None };

/// Print a row of two figures and their ratio, unless one of them was not measured.
void Row(const char* what, double ours, double other, double ratio, Aim aim = Aim::None,
         double bound = 0) {
    if (std::isnan(ratio)) {
        std::printf("%-62s left out\n", what);
        return;
    }
    std::printf("%-62s %9.4g %9.4g %8.2f", what, ours, other, ratio);
    if (aim != Aim::None) {
        const bool held = aim == Aim::AtLeast ? ratio >= bound : ratio <= bound;
        std::printf("  %s %g%s", aim == Aim::AtLeast ? ">=" : "<=", bound, held ? "" : "  MISSED");
    }
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    Results results;
    bool good = true;
    for (int i = 1; i < argc; ++i)
        good = ReadResults(argv[i], results) && good;

    /// How many times as long as ours the other takes. `unit` is in nanoseconds.
    const auto against = [&](const char* what, const char* ours, const char* other, double unit,
                             Aim aim = Aim::None, double bound = 0) {
        const double our_time = results[ours].GetMedian() / unit;
        const double other_time = results[other].GetMedian() / unit;
        Row(what, our_time, other_time, other_time / our_time, aim, bound);
    };

    Heading("default search, by address, results in the list, ns");
    const double search = results["default/kwlookup"].GetMedian();
    const double exact = results["default/exact_nocase"].GetMedian();
    Row("exact search without regard to case", search, exact, search / exact, Aim::AtMost, 2.5);
    against("a walk over the list", "default/kwlookup", "default/walk", 1, Aim::AtLeast, 50000);

    Heading("the same, texts of 64 KiB from strangers, us", "kwlookup", "at most");
    const auto at_most = [&](const char* what, const char* name, double bound) {
        const double time = results[name].GetMedian() / 1e3;
        Row(what, time, bound, time / bound, Aim::AtMost, 1);
    };
    at_most("1,000,000 lines with the first word of the text", "hostile/first_word", 50);
    at_most("dots, 1,000 lines of different sizes", "hostile/sizes", 50);
    at_most("dots, 1,000 lines of one to 1,000 dots", "hostile/sizes_of_dots", 50);
    at_most("a line that differs in case only", "hostile/case", 50);
    at_most("the same in letters of ISO 8859-1", "hostile/case_8bit", 50);

    Heading("from the start of the loading to the first answer, ms", "default", "--exact");
    const double first = results["first/default"].GetMedian() / 1e6;
    const double first_exact = results["first/exact"].GetMedian() / 1e6;
    Row("1,000,000 lines", first, first_exact, first / first_exact, Aim::AtMost, 1.5);

    Heading("exact search with regard to case, ns");
    const char* ours = "case/kwlookup";
    against("textbook std::lower_bound", ours, "case/lower_bound", 1, Aim::AtLeast, 14);
    against("absl::flat_hash_set", ours, "case/absl", 1, Aim::AtLeast, 1);
    against("std::unordered_set", ours, "case/unordered_set", 1);
    against("tinycdb, by mmap", ours, "case/cdb", 1);
    against("SQLite, prepared, by mmap", ours, "case/sqlite", 1);

    Heading("exact search without regard to case, ns");
    ours = "nocase/kwlookup";
    against("textbook std::lower_bound, a std::locale for each character", ours,
            "nocase/lower_bound_locale", 1, Aim::AtLeast, 25);
    against("absl::flat_hash_set asked for an upper-cased copy", ours, "nocase/absl_upper_copy", 1,
            Aim::AtLeast, 1);
    against("std::lower_bound, a 256-byte table made once a search", ours,
            "nocase/lower_bound_table", 1);

    Heading("a list of 1,000,000 domains, sub-domains allowed, ns");
    against("a walk over the list", "domains/kwlookup", "domains/walk", 1, Aim::AtLeast, 5000);

    Heading("loading 1,000,000 lines, ms");
    against("std::getline and boost::trim", "load/kwlookup", "load/getline_trim", 1e6, Aim::AtLeast,
            1.8);

    Heading("splitting a list of 100,000 items, ms");
    against("a loop that appends characters, plain items", "split_plain/kwlookup",
            "split_plain/char_loop", 1e6, Aim::AtLeast, 1.8);
    against("the same, 10 % quoted, 1 % escaped", "split_10_1/kwlookup", "split_10_1/char_loop",
            1e6, Aim::AtLeast, 1.8);
    against("the same, 40 % quoted, 20 % escaped", "split_40_20/kwlookup", "split_40_20/char_loop",
            1e6, Aim::AtLeast, 1.8);

    Heading("whole programs, 1,000,000 keys in a list of 1,000,000, s");
    against("find --exact: postmap -q - cdb:LIST, the table made before", "process/kwlookup",
            "process/postmap_cdb", 1e9, Aim::AtLeast, 2.2);
    against("find: the same postmap, asked the full addresses only", "process_default/kwlookup",
            "process/postmap_cdb", 1e9, Aim::AtLeast, 1);
    against("find: the same postmap, asked the keys that a mail server asks",
            "process_default/kwlookup", "process_default/postmap_cdb", 1e9, Aim::AtLeast, 3);

    Heading("a socketmap door on a UNIX socket, requests a second", "kwlookupd", "bare");
    const auto door = [&](const char* what, const std::string& name, double bound) {
        const double daemon = 1e9 / results[name + "/kwlookup"].GetMedian();
        const double bare = 1e9 / results[name + "/bare"].GetMedian();
        Row(what, daemon, bare, daemon / bare, Aim::AtLeast, bound);
    };
    door("16 connections: kwlookupd / bare", "door1", 0.9);
    door("16 connections, 16 requests in flight each: kwlookupd / bare", "door16", 0.7);
    const auto slowest = [&](const char* what, const char* name, const char* other, double bound) {
        const double time = results[name].GetMedianOfSlowest();
        const double other_time = results[other].GetMedianOfSlowest();
        Row(what, time, other_time, time / other_time, Aim::AtMost, bound);
    };
    slowest("p99 with 16 connections, us", "door1/kwlookup", "door1/bare", 1.5);
    slowest("p99 during a reload, beside that without, us", "door_reload/kwlookup",
            "door_reload/quiet", 3);
    against("postmap -q -, 100,000 keys one after the other, s", "door_postmap/kwlookup",
            "door_postmap/bare", 1e9, Aim::AtLeast, 0.9);
    const double idle = results["door_idle/kwlookup"].counters["bytes"];
    Row("memory of an idle connection, beside 8 KiB, bytes", idle, 8192, idle / 8192, Aim::AtMost,
        1);

    Heading("two threads, million searches a second, best round", "two", "one");
    const double two = 1e3 / results["threads/kwlookup/threads:2"].GetBest();
    const double one = 1e3 / results["threads/kwlookup/threads:1"].GetBest();
    Row("exact search with regard to case", two, one, two / one, Aim::AtLeast, 1.8);

    Heading("splitting is linear, ms", "200,000", "100,000");
    const double twice = results["split_10_1_twice_as_long/kwlookup"].GetMedian() / 1e6;
    const double once = results["split_10_1/kwlookup"].GetMedian() / 1e6;
    Row("10 % quoted, 1 % escaped", twice, once, twice / once, Aim::AtMost, 2.3);

    Heading("what the sort adds to a string of the list, bytes", "kwlookup", "vector");
    const double vector = results["bytes/kwlookup"].counters["vector"];
    for (const char* order : {"case", "nocase"}) {
        const double added = results["bytes/kwlookup"].counters[order];
        std::printf("%-62s %9.4g %9.4g %8.2f  <= 16 bytes%s\n", order, added, vector,
                    added / vector, added <= 16 ? "" : "  MISSED");
    }

    const double index = results["bytes_default/kwlookup"].counters["kwlookup"];
    std::printf("%-62s %9.4g %9.4g %8.2f  <= 24 bytes%s\n", "default search: its index", index,
                vector, index / vector, index <= 24 ? "" : "  MISSED");

    Heading("pattern files against one address, ns");
    against("a loop of PCRE2 with JIT, 10 patterns", "patterns10/kwlookup", "patterns10/loop", 1);
    against("a loop of PCRE2 with JIT, 1,000 patterns", "patterns1000/kwlookup",
            "patterns1000/loop", 1);
    against("a loop of PCRE2 with JIT, 10,000 patterns", "patterns10000/kwlookup",
            "patterns10000/loop", 1, Aim::AtLeast, 150);

    Heading("loading 10,000 patterns, ms, and the memory they take, MB", "kwlookup", "loop");
    const double load = results["load_patterns/kwlookup"].GetMedian() / 1e6;
    const double compile = results["load_patterns/loop"].GetMedian() / 1e6;
    Row("time, machine code on first use and of all at once", load, compile, load / compile,
        Aim::AtMost, 3);
    const double bytes = results["bytes_patterns/kwlookup"].counters["kwlookup"] / 1e6;
    const double loop_bytes = results["bytes_patterns/kwlookup"].counters["loop"] / 1e6;
    Row("memory", bytes, loop_bytes, bytes / loop_bytes);

    Heading("one search in a database of 1,000,000 records, ns", "kwlookup", "bare");
    // These rows show what a search costs on top of the database's own interface.
    const auto road = [&](const char* what, const std::string& name, double bound) {
        const double whole = results[name + "/kwlookup"].GetMedian();
        const double bare = results[name + "/bare"].GetMedian();
        Row(what, whole, bare, whole / bare, Aim::AtMost, bound);
    };
    road("cdb", "cdb", 1.3);
    road("berkeley, a hash", "hash", 1.3);
    road("berkeley, a btree", "btree", 1.3);
    road("lmdb", "lmdb", 1.1);
    road("sqlite", "sqlite", 1.1);

    Heading("one search in a server on this machine, us", "kwlookup", "bare");
    const auto server = [&](const std::string& name) {
        const double single = results[name + "/kwlookup/threads:1"].GetMedian() / 1e3;
        const double bare = results[name + "/bare/threads:1"].GetMedian() / 1e3;
        Row((name + ", one thread").c_str(), single, bare, single / bare, Aim::AtMost, 1.1);
        const double eight = results[name + "/kwlookup/threads:8"].GetMedian() / 1e3;
        const double bare_eight = results[name + "/bare/threads:8"].GetMedian() / 1e3;
        Row((name + ", eight threads, each with a connection: bare / kwlookup").c_str(), eight,
            bare_eight, bare_eight / eight, Aim::AtLeast, 0.9);
        const double cached = results[name + "/cached"].GetMedian() / 1e3;
        Row((name + ", a cached answer, beside 1 us").c_str(), cached, 1, cached, Aim::AtMost, 1);
    };
    server("ldap");
    server("postgres");
    server("mysql");
    server("redis");
    server("odbc");
    server("firebird");

    Heading("100,000 rows into a table of SQLite, rows a second", "store", "import");
    const auto store = [&](const char* what, const std::string& name, Aim aim) {
        const double stored = 1e9 / results[name + "/kwlookup"].GetMedian();
        const double imported = 1e9 / results[name + "/sqlite3"].GetMedian();
        Row(what, stored, imported, stored / imported, aim, 0.8);
    };
    store("in memory: store / import of sqlite3 in one transaction", "store_memory", Aim::AtLeast);
    // SQLite waits for the disk several times a transaction, which nothing makes up for.
    store("on disk, which store waits for 100 times as often", "store_disk", Aim::None);
    return good ? 0 : 1;
}
