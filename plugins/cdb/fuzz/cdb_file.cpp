// SPDX-License-Identifier: MIT
#include "fuzz/KeyFile.h"
#include "plugins/cdb/CdbDatabase.h"

using namespace kwlookup;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SearchKeyFile<CdbDatabase>(
        data, size, [](const std::string& reason) { return reason == "not a valid cdb file"; });
    return 0;
}
