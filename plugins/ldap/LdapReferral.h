// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <optional>
#include <string>

namespace kwlookup {

/// A referral to another server: its URL (RFC 4516), and how to connect.
struct LdapReferral {
    /// Throws std::invalid_argument "wrong URL".
    LdapReferral(const std::string& url, const ServerSettings& settings);

    Server server;
    /// Those of the item. If the server is not one of the item's Hosts, they have no login and no
    /// certificate: a referral can name any host, which must not get the password. If the item uses
    /// TLS, the referral does too.
    ServerSettings settings;

    // If the URL has these, they replace those of the search.
    std::optional<std::string> base;
    std::optional<int> scope;
    std::optional<std::string> filter;
};

} // namespace kwlookup
