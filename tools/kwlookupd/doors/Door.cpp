// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/Door.h"

#include "tools/kwlookupd/doors/DictSession.h"
#include "tools/kwlookupd/doors/HttpDoor.h"
#include "tools/kwlookupd/doors/MilterSession.h"
#include "tools/kwlookupd/doors/PolicySession.h"
#include "tools/kwlookupd/doors/SocketmapSession.h"
#include "tools/kwlookupd/doors/TcpSession.h"

#include <stdexcept>
#include <utility>

namespace kwlookup {

namespace {

/// A door whose sessions need nothing but its configuration.
template <typename ItsSession>
class PlainDoor : public Door {
public:
    explicit PlainDoor(DoorConfig config) : m_config(std::move(config)) {}
    std::unique_ptr<Session> NewSession() const override {
        return std::make_unique<ItsSession>(m_config);
    }

private:
    const DoorConfig m_config;
};

template <typename ItsDoor>
std::unique_ptr<Door> Make(const DoorConfig& config, const DaemonView* /*view*/) {
    return std::make_unique<ItsDoor>(config);
}

/// Makes the door of a protocol that has rules.
template <typename ItsSession>
std::unique_ptr<Door> MakeWithRules(const DoorConfig& config, const DaemonView* /*view*/) {
    ItsSession::Check(config);
    return std::make_unique<PlainDoor<ItsSession>>(config);
}

std::unique_ptr<Door> MakeHttp(const DoorConfig& config, const DaemonView* view) {
    return std::make_unique<HttpDoor>(config, *view);
}

struct Protocol {
    const char* name;
    std::unique_ptr<Door> (*make)(const DoorConfig& config, const DaemonView* view);
};

constexpr Protocol PROTOCOLS[] = {
    {"dict", Make<PlainDoor<DictSession>>},           {"http", MakeHttp},
    {"milter", MakeWithRules<MilterSession>},         {"policy", MakeWithRules<PolicySession>},
    {"socketmap", Make<PlainDoor<SocketmapSession>>}, {"tcp", Make<PlainDoor<TcpSession>>},
};

} // namespace

std::unique_ptr<Door> MakeDoor(const DoorConfig& config, const DaemonView* view) {
    for (const Protocol& protocol : PROTOCOLS) {
        if (config.protocol == protocol.name)
            return protocol.make(config, view);
    }
    throw std::invalid_argument("door " + config.name + ": unknown Protocol \"" + config.protocol +
                                "\"");
}

} // namespace kwlookup
