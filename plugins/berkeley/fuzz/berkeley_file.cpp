// SPDX-License-Identifier: MIT
#include "fuzz/KeyFile.h"
#include "plugins/berkeley/BerkeleyDatabase.h"

using namespace kwlookup;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SearchKeyFile<BerkeleyDatabase>(data, size, [](const std::string& reason) {
        return reason == "not a valid Berkeley DB file" || reason == "neither a hash nor a btree" ||
               reason == "holds several databases";
    });
    return 0;
}
