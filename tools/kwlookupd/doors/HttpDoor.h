// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DaemonView.h"
#include "tools/kwlookupd/doors/Door.h"
#include "tools/kwlookupd/doors/DoorConfig.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The door for HTTP: questions, whole lists, monitoring and the status page. HttpSession says
/// which paths there are.
///
/// Every request must have `Token`, if it is set. It is needed where the door is open to other
/// machines. `Host` names the hosts under which browsers may ask.
class HttpDoor : public Door {
public:
    /// Keeps a reference to `view`. Throws std::invalid_argument with the reason if the settings
    /// are wrong, or if an address is open to other machines and there is no token.
    HttpDoor(DoorConfig config, const DaemonView& view);

    std::unique_ptr<Session> NewSession() const override;

    const DoorConfig& GetConfig() const { return m_config; }
    const DaemonView& GetView() const { return m_view; }

    /// Returns the list of this name; null if the door does not serve it.
    const DoorConfig::List* FindList(std::string_view name) const;

    /// True if a request with this field Authorization may ask: "Bearer TOKEN", or "Basic" with the
    /// token as its password, which browsers can send. Takes the same time for each wrong token of
    /// the right length.
    bool MayAsk(std::string_view authorization) const;

    /// True if the door answers to this field Host. A page from elsewhere whose name was made to
    /// point to this machine could read the answers otherwise. An address is always right, since it
    /// cannot be made to point elsewhere. With a token, every name is right.
    bool IsOwnHost(std::string_view host) const;

private:
    const DoorConfig m_config;
    const DaemonView& m_view;
    std::string m_token; ///< empty: none is needed
    std::vector<std::string> m_hosts;
    bool m_any_host = false;
};

} // namespace kwlookup
