// SPDX-License-Identifier: MIT
// A client of the door "dict" sends any bytes in any pieces.
#include "fuzz/SessionFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto door = [] {
        kwlookup::DoorConfig config;
        config.protocol = "dict";
        config.lists = {{"a", 0}, {"users", 1}};
        return kwlookup::MakeDoor(config);
    }();
    FuzzSession(*door, data, size);
    return 0;
}
