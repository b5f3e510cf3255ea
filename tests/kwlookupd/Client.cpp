// SPDX-License-Identifier: MIT
#include "kwlookupd/Client.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>

using kwlookup::FileDescriptor;

namespace {

void CheckCall(int result, const std::string& what) {
    if (result < 0)
        throw std::runtime_error(what + ": " + std::strerror(errno));
}

template <typename Address>
FileDescriptor ConnectTo(int family, const Address& address, const std::string& text,
                         const std::string& from) {
    FileDescriptor fd(::socket(family, SOCK_STREAM, 0));
    if (!from.empty()) {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        ::inet_pton(AF_INET, from.c_str(), &own.sin_addr);
        CheckCall(::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), from);
    }
    CheckCall(::connect(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
              text);
    return fd;
}

} // namespace

Client::Client(const std::string& address, const std::string& from) {
    if (address.rfind("unix:", 0) == 0) {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        address.copy(name.sun_path, sizeof name.sun_path - 1, 5);
        m_socket = ConnectTo(AF_UNIX, name, address, from);
        return;
    }
    const std::size_t colon = address.rfind(':');
    const auto port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1))));
    if (address[0] == '[') {
        sockaddr_in6 name{};
        name.sin6_family = AF_INET6;
        name.sin6_port = port;
        ::inet_pton(AF_INET6, address.substr(1, colon - 2).c_str(), &name.sin6_addr);
        m_socket = ConnectTo(AF_INET6, name, address, from);
    } else {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = port;
        ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &name.sin_addr);
        m_socket = ConnectTo(AF_INET, name, address, from);
    }
}

bool Client::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t size = ::send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
}

void Client::End() {
    ::shutdown(m_socket.Get(), SHUT_WR);
}

std::string Client::Receive(std::size_t size, int milliseconds) {
    std::string received;
    std::array<char, 65536> buffer;
    while (received.size() < size) {
        if (!HasInput(milliseconds))
            throw std::runtime_error("nothing arrives after \"" + received.substr(0, 1000) + "\"");
        const ssize_t count = ::recv(m_socket.Get(), buffer.data(),
                                     std::min(buffer.size(), size - received.size()), 0);
        if (count <= 0)
            break;
        received.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return received;
}

bool Client::HasInput(int milliseconds) const {
    pollfd waited{m_socket.Get(), POLLIN, 0};
    return ::poll(&waited, 1, milliseconds) > 0;
}

int UnusedPort() {
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    CheckCall(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), size), "bind");
    CheckCall(::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size),
              "getsockname");
    return ntohs(address.sin_port);
}
