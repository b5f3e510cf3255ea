// SPDX-License-Identifier: MIT
// A client of the door "milter" sends any bytes in any pieces.
#include "fuzz/SessionFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto door = [] {
        kwlookup::DoorConfig config;
        config.protocol = "milter";
        config.rules = {{"sender", {"a", 0}},
                        {"recipient", {"users", 1}},
                        {"client_address", {"a", 0}},
                        {"helo_name", {"a", 0}},
                        {"sasl_username", {"a", 0}}};
        return kwlookup::MakeDoor(config);
    }();
    FuzzSession(*door, data, size);
    return 0;
}
