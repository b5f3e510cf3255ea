// SPDX-License-Identifier: MIT
// Parses a text as Hosts. The names of the servers, parsed again, must be the same servers.
#include "families/servers/ServerList.h"
#include "fuzz/Require.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

using namespace kwlookup;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<Server> servers;
    try {
        servers = ParseServerList(text, 1234);
    } catch (const std::invalid_argument&) {
        return 0;
    }
    Require(!servers.empty());
    std::string names;
    for (const Server& server : servers) {
        Require(server.IsUnix() ? server.path.front() == '/' && server.port == 0
                                : server.port != 0 && server.path.empty());
        names += (names.empty() ? "" : ",") + server.GetName();
    }
    const std::vector<Server> again = ParseServerList(names, 1);
    Require(again.size() == servers.size());
    for (std::size_t i = 0; i < again.size(); ++i)
        Require(again[i] == servers[i]);
    return 0;
}
