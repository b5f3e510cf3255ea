// SPDX-License-Identifier: MIT
// A client of the door "http" sends any bytes in any pieces.
#include "fuzz/SessionFuzz.h"
#include "kwlookupd/ConstantView.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ConstantView view;
    static const auto door = [] {
        kwlookup::DoorConfig config;
        config.name = "web";
        config.protocol = "http";
        config.addresses = {"unix:/x"};
        config.lists = {{"blocked", 0}, {"access", 1}};
        return kwlookup::MakeDoor(config, &view);
    }();
    FuzzSession(*door, data, size);
    return 0;
}
