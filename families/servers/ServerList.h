// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kwlookup {

/// Parse the value of `Hosts`: "HOST", "HOST:PORT", "ADDRESS", "[ADDRESS]:PORT" or "unix:/PATH",
/// separated by commas. White space around them is ignored. A host without a port gets
/// `default_port`.
///
/// Throws std::invalid_argument "Hosts is not set", and "Wrong Hosts setting [ITEM]: wait
/// HOST[:PORT], [ADDRESS][:PORT] or unix:/PATH".
std::vector<Server> ParseServerList(const std::string& text, std::uint16_t default_port);

} // namespace kwlookup
