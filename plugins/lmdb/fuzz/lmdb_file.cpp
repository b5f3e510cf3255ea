// SPDX-License-Identifier: MIT
#include "fuzz/KeyFile.h"
#include "plugins/lmdb/LmdbDatabase.h"

using namespace kwlookup;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SearchKeyFile<LmdbDatabase>(data, size, [](const std::string& reason) {
        return reason == "not a valid LMDB file" || reason == "an LMDB file of another version" ||
               reason == "the keys are not in the order of their bytes" ||
               reason == "the key is that of a database of its own";
    });
    return 0;
}
