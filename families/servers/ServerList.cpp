// SPDX-License-Identifier: MIT
#include "families/servers/ServerList.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <sys/un.h>

namespace kwlookup {
namespace {

constexpr std::string_view UNIX_PREFIX = "unix:";
constexpr std::string_view SPACE = " \t\r\n";
/// The longest name in the DNS; addresses are shorter.
constexpr std::size_t LONGEST_HOST = 255;

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(SPACE);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(SPACE) - begin + 1);
}

/// True if all characters are allowed in a name or an address. Refuses bytes above 127, and those
/// with a meaning in messages or connection strings.
bool IsHost(std::string_view text, bool address) {
    const auto good = [address](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '-' || c == '_' || (address && (c == ':' || c == '%'));
    };
    return !text.empty() && text.size() <= LONGEST_HOST && text.front() != '-' &&
           address == (text.find(':') != std::string_view::npos) &&
           std::all_of(text.begin(), text.end(), good);
}

bool ReadPort(std::string_view text, std::uint16_t& port) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, port);
    return read.ec == std::errc() && read.ptr == end && port > 0;
}

bool ReadServer(std::string_view text, Server& server) {
    if (text.substr(0, UNIX_PREFIX.size()) == UNIX_PREFIX) {
        text.remove_prefix(UNIX_PREFIX.size());
        server.path = text;
        return !text.empty() && text.front() == '/' &&
               text.size() < sizeof(sockaddr_un::sun_path) &&
               text.find('\0') == std::string_view::npos;
    }
    std::string_view host = text;
    std::string_view port;
    bool address = false;
    if (!text.empty() && text.front() == '[') {
        const std::size_t close = text.find(']');
        if (close == std::string_view::npos)
            return false;
        host = text.substr(1, close - 1);
        port = text.substr(close + 1);
        address = true;
    } else if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
        address = text.find(':', colon + 1) != std::string_view::npos;
        if (!address) {
            host = text.substr(0, colon);
            port = text.substr(colon);
        }
    }
    server.host = host;
    // With a port, a host of this name would look like a unix socket.
    return host != "unix" && IsHost(host, address) &&
           (port.empty() || (port.front() == ':' && ReadPort(port.substr(1), server.port)));
}

} // namespace

std::vector<Server> ParseServerList(const std::string& text, std::uint16_t default_port) {
    std::vector<Server> servers;
    if (Trimmed(text).empty())
        throw std::invalid_argument("Hosts is not set");
    std::string_view rest = text;
    for (bool more = true; more;) {
        const std::size_t comma = rest.find(',');
        const std::string_view item = Trimmed(rest.substr(0, comma));
        more = comma != std::string_view::npos;
        if (more)
            rest.remove_prefix(comma + 1);
        Server server;
        server.port = default_port;
        if (!ReadServer(item, server))
            throw std::invalid_argument("Wrong Hosts setting [" + std::string(item) +
                                        "]: wait HOST[:PORT], [ADDRESS][:PORT] or unix:/PATH");
        if (server.IsUnix())
            server.port = 0;
        if (std::find(servers.begin(), servers.end(), server) == servers.end())
            servers.push_back(std::move(server));
    }
    return servers;
}

} // namespace kwlookup
