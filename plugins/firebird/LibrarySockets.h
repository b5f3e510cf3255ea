// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ConnectedSockets.h"

#include <vector>

namespace kwlookup {

/// The sockets that the client library opens for a connection.
///
/// After a damaged answer the library may wait for ever, and ignore that its call is cancelled. It
/// does not tell its socket, so this class looks for it among the descriptors of the process. It
/// finds none where the system has no /proc.
class LibrarySockets {
public:
    /// To be made before the library connects to `port`.
    explicit LibrarySockets(int port) : m_port(port), m_before(List()) {}

    /// To be called when the library has connected. A socket that another thread has connected to
    /// the same port meanwhile is taken, too.
    void Take() { m_taken = NewSockets(m_before, List()); }

    /// Ends the traffic on these sockets, so that nobody waits for them.
    void Shutdown() const;

private:
    std::vector<ConnectedSocket> List() const;

    const int m_port;
    const std::vector<ConnectedSocket> m_before;
    std::vector<ConnectedSocket> m_taken;
};

} // namespace kwlookup
