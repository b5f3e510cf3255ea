// SPDX-License-Identifier: MIT
#include "plugins/redis/Redirection.h"

#include <charconv>
#include <string_view>

namespace kwlookup {

std::optional<Redirection> Redirection::Read(const std::string& text, const Server& from) {
    const std::string_view view = text;
    const std::size_t first = view.find(' ');
    const std::string_view word = view.substr(0, first);
    Redirection redirection;
    redirection.text = from.GetName() + ": " + text;
    if (word == "CLUSTERDOWN")
        return redirection;
    if (word != "MOVED" && word != "ASK")
        return std::nullopt;
    redirection.kind = word == "ASK" ? Kind::Ask : Kind::Moved;
    const std::size_t second = view.find(' ', first + 1);
    const std::size_t colon = view.rfind(':');
    if (second == std::string_view::npos || colon == std::string_view::npos || colon < second)
        return std::nullopt;
    const std::string_view host = view.substr(second + 1, colon - second - 1);
    redirection.server.host = host.empty() ? from.host : std::string(host);
    const char* const end = view.data() + view.size();
    const auto read = std::from_chars(view.data() + colon + 1, end, redirection.server.port);
    if (read.ec != std::errc() || read.ptr != end || redirection.server.host.empty() ||
        redirection.server.host.find('\0') != std::string::npos)
        return std::nullopt;
    return redirection;
}

} // namespace kwlookup
