// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <optional>
#include <string>

namespace kwlookup {

/// Where a server says that a search goes on: its URL (RFC 4516), and how to connect there.
struct LdapReferral {
    /// Throws std::invalid_argument "wrong URL".
    LdapReferral(const std::string& url, const ServerSettings& settings);

    Server server;
    /// Those of the item, but without its login and certificate where the server is none of its
    /// Hosts: another server can name any host, and would get a password that is not for it. Where
    /// the item asks in TLS, the referral does as well.
    ServerSettings settings;

    // In place of those of the search, where the URL has them.
    std::optional<std::string> base;
    std::optional<int> scope;
    std::optional<std::string> filter;
};

} // namespace kwlookup
