// SPDX-License-Identifier: MIT
#include "plugins/firebird/LibrarySockets.h"

#include <algorithm>
#include <sys/socket.h>

namespace kwlookup {

void LibrarySockets::Shutdown() const {
    const std::vector<ConnectedSocket> now = List();
    for (const ConnectedSocket& socket : m_taken)
        if (std::find(now.begin(), now.end(), socket) != now.end())
            ::shutdown(socket.fd, SHUT_RDWR);
}

/// Returns the sockets of this process that are connected to the port.
std::vector<ConnectedSocket> LibrarySockets::List() const {
    std::vector<ConnectedSocket> sockets = ListConnectedSockets();
    sockets.erase(std::remove_if(
                      sockets.begin(), sockets.end(),
                      [this](const ConnectedSocket& socket) { return socket.peer_port != m_port; }),
                  sockets.end());
    return sockets;
}

} // namespace kwlookup
