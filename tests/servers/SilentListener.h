// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace kwlookup {

/// A socket that listens and never accepts, so that connections beyond its queue get no answer.
class SilentListener {
public:
    SilentListener() : m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const bytes = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof(address);
        if (::bind(m_listener.Get(), bytes, size) != 0 || ::listen(m_listener.Get(), 0) != 0 ||
            ::getsockname(m_listener.Get(), bytes, &size) != 0)
            throw std::runtime_error("cannot listen");
        m_host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        for (int i = 0; i < 4; ++i) {
            m_queued.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            ::connect(m_queued.back().Get(), bytes, size);
        }
    }

    const std::string& GetHost() const { return m_host; }

private:
    FileDescriptor m_listener;
    std::string m_host;
    std::vector<FileDescriptor> m_queued;
};

} // namespace kwlookup
