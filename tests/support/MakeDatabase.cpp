// SPDX-License-Identifier: MIT
#include "support/MakeDatabase.h"

#include "support/RunProgram.h"

#if defined(HAVE_LMDB)
#include "plugins/lmdb/tests/LmdbFile.h"
#endif

#include <stdexcept>

namespace {

void Run(const std::vector<std::string>& arguments, const std::string& input) {
    const ProgramResult result = RunProgram(arguments, input);
    if (result.status != 0 || !result.err.empty())
        throw std::runtime_error(arguments[0] + ": " + result.err);
}

std::string Hex(const std::string& bytes) {
    std::string hex;
    for (const unsigned char byte : bytes)
        hex.append({"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]});
    return hex;
}

} // namespace

void MakeKeyValueFile(const std::string& format, const std::string& name, const Records& records) {
    if (format == "cdb") {
        std::string input;
        for (const auto& [key, value] : records)
            input += "+" + std::to_string(key.size()) + "," + std::to_string(value.size()) + ":" +
                     key + "->" + value + "\n";
        Run({CDB_TOOL, "-c", name}, input + "\n");
        return;
    }
#if defined(HAVE_LMDB)
    if (format == "lmdb") {
        // A map of the default size would make the file too long to be copied into memory.
        LmdbFile(name, 0, 0, 16 << 20).Put(records);
        return;
    }
#endif
    std::string input = "VERSION=3\nformat=bytevalue\ntype=" + format +
                        "\ndb_pagesize=512\nduplicates=1\nHEADER=END\n";
    for (const auto& [key, value] : records)
        input += " " + Hex(key) + "\n " + Hex(value) + "\n";
    Run({DB_LOAD_TOOL, name}, input + "DATA=END\n");
}

void RunSql(const std::string& name, const std::string& statements) {
    Run({SQLITE_TOOL, "-bail", name}, statements);
}

std::string SqlText(const std::string& bytes) {
    return "cast(x'" + Hex(bytes) + "' as text)";
}
