// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Session.h"

#include <memory>

namespace kwlookup {

class DaemonView;

/// What the sessions of a door have in common. Sessions keep a reference to it. Threads: any; a
/// door never changes.
class Door {
public:
    virtual ~Door() = default;
    /// Makes the session of a new connection.
    virtual std::unique_ptr<Session> NewSession() const = 0;
};

/// Makes the door of `config.protocol`. Throws std::invalid_argument with the reason for the
/// administrator if its settings are wrong. The protocol "http" needs `view` and keeps its address.
std::unique_ptr<Door> MakeDoor(const DoorConfig& config, const DaemonView* view = nullptr);

} // namespace kwlookup
