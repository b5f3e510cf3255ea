// SPDX-License-Identifier: MIT
// smtpd, or whatever started the filter, sends any bytes in any pieces.
#include "fuzz/SessionFuzz.h"
#include "tools/kwlookupd/doors/OpenSmtpdSession.h"

namespace {

/// A filter is no door of the daemon, so MakeDoor() does not know it.
class FilterDoor : public kwlookup::Door {
public:
    FilterDoor() {
        m_config.rules = {{"sender", {"a", 0}},
                          {"recipient", {"users", 1}},
                          {"client_address", {"a", 0}},
                          {"client_name", {"a", 0}},
                          {"helo_name", {"a", 0}}};
    }
    std::unique_ptr<kwlookup::Session> NewSession() const override {
        return std::make_unique<kwlookup::OpenSmtpdSession>(m_config);
    }

private:
    kwlookup::DoorConfig m_config;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const FilterDoor door;
    FuzzSession(door, data, size);
    return 0;
}
