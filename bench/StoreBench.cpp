// SPDX-License-Identifier: MIT
// 100,000 rows into a table of SQLite: `kwlookup store` from JSON lines, with a transaction for
// each thousand of them, and the import of the program sqlite3 from CSV, in one transaction. The
// environment names the tool: KWLOOKUP_BENCH_TOOL.
#include "bench/BenchData.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr int ROWS = 100000;

/// A folder with the records in both formats, removed at the end of the program.
class Folder {
public:
    explicit Folder(std::string parent) : m_path(std::move(parent += "/kwlookup-bench.XXXXXX")) {
        if (!::mkdtemp(m_path.data()))
            Fail("cannot make " + m_path);
        AddressSource addresses(3);
        std::ofstream json(m_path + "/json");
        std::ofstream csv(m_path + "/csv");
        for (int i = 0; i < ROWS; ++i) {
            const std::string address = addresses.Next();
            const std::string time = "2026-11-22 12:34:" + std::to_string(10 + i % 50);
            json << R"({"address":")" << address << R"(","at":")" << time << "\"}\n";
            csv << address << ',' << time << '\n';
        }
        if (!json.flush() || !csv.flush())
            Fail("cannot write into " + m_path);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { fs::remove_all(m_path); }

    std::string Path(const std::string& name) const { return m_path + '/' + name; }

private:
    std::string m_path;
};

/// A file system in memory, without the cost of writing to a disk.
const Folder& Memory() {
    static const Folder folder(fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path());
    return folder;
}

const Folder& Disk() {
    static const Folder folder(fs::path(DataFile("x")).parent_path());
    return folder;
}

void Run(const std::string& command) {
    if (std::system(command.c_str()) != 0)
        Fail("failed: " + command);
}

std::string KwlookupCommand(const Folder& folder) {
    return std::string(std::getenv("KWLOOKUP_BENCH_TOOL")) +
           " store '\"sqlite:Database=" + folder.Path("db") +
           "|insert into seen values (:address<varchar>, :at<timestamp>)\"' - <" +
           folder.Path("json") + " >" + folder.Path("out");
}

std::string Sqlite3Command(const Folder& folder) {
    return "sqlite3 " + folder.Path("db") + " '.mode csv' '.import " + folder.Path("csv") +
           " seen'";
}

template <const Folder& GetFolder(), std::string MakeCommand(const Folder&)>
void Store(benchmark::State& state) {
    const Folder& folder = GetFolder();
    const std::string command = MakeCommand(folder);
    for (auto _ : state) {
        state.PauseTiming();
        fs::remove(folder.Path("db"));
        Run("sqlite3 " + folder.Path("db") + " 'create table seen (address text, at text)'");
        state.ResumeTiming();
        Run(command);
    }
    Run("test $(sqlite3 " + folder.Path("db") +
        " 'select count(distinct at) * count(*) from seen') = " + std::to_string(50 * ROWS));
    state.SetItemsProcessed(ROWS * state.iterations());
}

BENCHMARK(Store<Memory, KwlookupCommand>)
    ->Name("store_memory/kwlookup")
    ->Iterations(1)
    ->UseRealTime();
BENCHMARK(Store<Memory, Sqlite3Command>)
    ->Name("store_memory/sqlite3")
    ->Iterations(1)
    ->UseRealTime();
BENCHMARK(Store<Disk, KwlookupCommand>)->Name("store_disk/kwlookup")->Iterations(1)->UseRealTime();
BENCHMARK(Store<Disk, Sqlite3Command>)->Name("store_disk/sqlite3")->Iterations(1)->UseRealTime();

} // namespace
