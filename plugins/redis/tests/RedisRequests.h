// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

/// The arguments of a request, as a server reads them. Throws std::runtime_error unless the text is
/// exactly one request.
inline std::vector<std::string> ParseRequest(const std::string& request) {
    std::size_t at = 0;
    const auto number = [&](char type) {
        const std::size_t end = request.find("\r\n", at);
        if (end == std::string::npos || request[at] != type)
            throw std::runtime_error("not a request");
        const std::size_t value = std::stoul(request.substr(at + 1, end - at - 1));
        at = end + 2;
        return value;
    };
    std::vector<std::string> arguments;
    for (std::size_t left = number('*'); left > 0; --left) {
        const std::size_t size = number('$');
        arguments.push_back(request.substr(at, size));
        at += size;
        if (request.substr(at, 2) != "\r\n")
            throw std::runtime_error("not a request");
        at += 2;
    }
    if (at != request.size())
        throw std::runtime_error("more than a request");
    return arguments;
}

} // namespace kwlookup
