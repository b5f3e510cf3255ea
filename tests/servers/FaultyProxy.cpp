// SPDX-License-Identifier: MIT
#include "servers/FaultyProxy.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace kwlookup {

namespace {

void Check(bool good, const char* what) {
    if (!good)
        throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

FileDescriptor Socket() {
    FileDescriptor made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    Check(static_cast<bool>(made), "socket");
    return made;
}

void SendAtOnce(int fd) {
    const int yes = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
}

bool SendAll(int fd, const char* bytes, std::size_t length) {
    while (length != 0) {
        const ssize_t sent = ::send(fd, bytes, length, MSG_NOSIGNAL);
        if (sent < 0)
            return false;
        bytes += sent;
        length -= static_cast<std::size_t>(sent);
    }
    return true;
}

} // namespace

FaultyProxy::FaultyProxy(int server_port)
    : m_server_port(server_port), m_listener(Socket()), m_wake(::eventfd(0, EFD_CLOEXEC)) {
    Check(static_cast<bool>(m_wake), "eventfd");
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof(address);
    Check(::bind(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), length) == 0, "bind");
    Check(::listen(m_listener.Get(), SOMAXCONN) == 0, "listen");
    Check(::getsockname(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), &length) == 0,
          "getsockname");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Run(); });
}

FaultyProxy::~FaultyProxy() {
    m_stop = true;
    ::eventfd_write(m_wake.Get(), 1);
    m_thread.join();
}

void FaultyProxy::SetFault(Fault fault, std::size_t bytes, unsigned char flipped) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_fault = fault;
    m_bytes = bytes;
    m_flipped = flipped;
    ::eventfd_write(m_wake.Get(), 1);
}

void FaultyProxy::Disconnect() {
    m_disconnect = true;
    ::eventfd_write(m_wake.Get(), 1);
    while (m_disconnect)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void FaultyProxy::Run() {
    while (!m_stop) {
        std::vector<pollfd> watched = {{m_wake.Get(), POLLIN, 0}, {m_listener.Get(), POLLIN, 0}};
        for (const Connection& connection : m_connections) {
            watched.push_back({connection.client.Get(), POLLIN, 0});
            watched.push_back({connection.server.Get(), POLLIN, 0});
        }
        if (::poll(watched.data(), watched.size(), -1) < 0)
            continue;
        if (watched[0].revents) {
            eventfd_t ignored;
            ::eventfd_read(m_wake.Get(), &ignored);
        }
        std::size_t i = 2;
        for (auto at = m_connections.begin(); at != m_connections.end(); i += 2) {
            const bool goes_on = !IsOver(*at) && (!watched[i].revents || ForwardRequest(*at)) &&
                                 (!watched[i + 1].revents || ForwardAnswer(*at));
            at = goes_on ? std::next(at) : m_connections.erase(at);
        }
        if (m_disconnect.exchange(false))
            m_connections.clear();
        if (watched[1].revents)
            Accept();
        m_open = static_cast<int>(m_connections.size());
    }
}

void FaultyProxy::Accept() {
    Connection connection;
    connection.client = FileDescriptor(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    connection.server = Socket();
    if (!connection.client)
        return;
    ++m_accepted;
    const sockaddr_in address = Loopback(m_server_port);
    if (::connect(connection.server.Get(), reinterpret_cast<const sockaddr*>(&address),
                  sizeof(address)) != 0)
        return;
    SendAtOnce(connection.client.Get());
    SendAtOnce(connection.server.Get());
    if (!IsOver(connection))
        m_connections.push_back(std::move(connection));
}

/// True if the current fault ends the connection here.
bool FaultyProxy::IsOver(Connection& connection) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if ((m_fault != Fault::Close && m_fault != Fault::Reset) || connection.answered < m_bytes)
        return false;
    if (m_fault == Fault::Reset) {
        const linger at_once = {1, 0};
        ::setsockopt(connection.client.Get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
    }
    return true;
}

bool FaultyProxy::ForwardRequest(Connection& connection) {
    char bytes[16384];
    const ssize_t got = ::recv(connection.client.Get(), bytes, sizeof(bytes), 0);
    return got > 0 && SendAll(connection.server.Get(), bytes, static_cast<std::size_t>(got));
}

bool FaultyProxy::ForwardAnswer(Connection& connection) {
    char bytes[16384];
    const ssize_t got = ::recv(connection.server.Get(), bytes, sizeof(bytes), 0);
    if (got <= 0)
        return false;
    std::this_thread::sleep_for(m_delay.load());
    auto length = static_cast<std::size_t>(got);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::size_t good =
            m_fault == Fault::None || m_fault == Fault::Flip
                ? length
                : std::min(length, m_bytes - std::min(m_bytes, connection.answered));
        if (m_fault == Fault::Flip && m_bytes >= connection.answered &&
            m_bytes - connection.answered < length) {
            char& byte = bytes[m_bytes - connection.answered];
            byte = static_cast<char>(static_cast<unsigned char>(byte) ^ m_flipped);
        }
        if (m_fault == Fault::Scramble)
            for (std::size_t i = good; i < length; ++i)
                bytes[i] = static_cast<char>(bytes[i] ^ (0xA5 + i));
        else
            length = good;
    }
    connection.answered += length;
    m_forwarded += length;
    return SendAll(connection.client.Get(), bytes, length) && !IsOver(connection);
}

} // namespace kwlookup
