// SPDX-License-Identifier: MIT
#include "plugins/ldap/tests/ScriptedLdapServer.h"

#include "plugins/ldap/tests/Ber.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

using namespace kwlookup;

constexpr unsigned char SEARCH = 0x63;
constexpr unsigned char ENTRY = 0x64;
constexpr unsigned char REFERENCE = 0x73;
constexpr unsigned char REFERRAL = 0xa3;

std::string List(unsigned char tag, const std::vector<std::string>& texts) {
    std::string content;
    for (const std::string& text : texts)
        content += ber::Write(ber::OCTETS, text);
    return ber::Write(tag, content);
}

void Require(bool done, const char* what) {
    if (!done)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

ScriptedLdapServer::ScriptedLdapServer(Script script, bool endless)
    : m_script(std::move(script)), m_endless(endless),
      m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      m_wake(::eventfd(0, EFD_CLOEXEC)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const bytes = reinterpret_cast<sockaddr*>(&address);
    Require(::bind(m_listener.Get(), bytes, size) == 0, "bind");
    Require(::listen(m_listener.Get(), 16) == 0, "listen");
    Require(::getsockname(m_listener.Get(), bytes, &size) == 0, "getsockname");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Run(); });
}

ScriptedLdapServer::~ScriptedLdapServer() {
    ::eventfd_write(m_wake.Get(), 1);
    m_thread.join();
}

void ScriptedLdapServer::Run() {
    for (;;) {
        std::vector<pollfd> polled = {{m_wake.Get(), POLLIN, 0}, {m_listener.Get(), POLLIN, 0}};
        for (const Connection& connection : m_connections)
            polled.push_back({connection.socket.Get(), POLLIN, 0});
        ::poll(polled.data(), polled.size(), -1);
        if (polled[0].revents)
            return;
        std::size_t i = 2;
        for (auto connection = m_connections.begin(); connection != m_connections.end(); ++i) {
            const bool stays = !polled[i].revents || Serve(*connection);
            connection = stays ? std::next(connection) : m_connections.erase(connection);
        }
        if (polled[1].revents)
            m_connections.push_back(
                {FileDescriptor(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC)), ""});
    }
}

bool ScriptedLdapServer::Serve(Connection& connection) {
    char bytes[65536];
    const ssize_t got = ::recv(connection.socket.Get(), bytes, sizeof(bytes), 0);
    if (got <= 0)
        return false;
    connection.received.append(bytes, static_cast<std::size_t>(got));
    while (const std::size_t size = ber::SizeOfFirst(connection.received)) {
        const std::string answer = m_script(connection.received.substr(0, size));
        connection.received.erase(0, size);
        // The client may have gone, so ignore errors.
        while (::send(connection.socket.Get(), answer.data(), answer.size(), MSG_NOSIGNAL) > 0 &&
               m_endless) {
        }
    }
    return true;
}

std::string ScriptedLdapServer::WithNumber(const std::string& request, std::string_view operation) {
    const std::string number = ber::Read(request).at(1).bytes;
    return ber::Write(ber::SEQUENCE, ber::Write(ber::INTEGER, number) + std::string(operation));
}

std::string ScriptedLdapServer::Entry(const std::string& request, const std::string& name,
                                      const std::vector<std::string>& values) {
    const std::string attribute =
        ber::Write(ber::SEQUENCE, ber::Write(ber::OCTETS, name) + List(ber::SET, values));
    return WithNumber(request, ber::Write(ENTRY, ber::Write(ber::OCTETS, "dc=entry") +
                                                     ber::Write(ber::SEQUENCE, attribute)));
}

std::string ScriptedLdapServer::Reference(const std::string& request,
                                          const std::vector<std::string>& urls) {
    return WithNumber(request, List(REFERENCE, urls));
}

std::string ScriptedLdapServer::Result(const std::string& request, int code,
                                       const std::string& text,
                                       const std::vector<std::string>& urls, unsigned char tag) {
    return WithNumber(
        request,
        ber::Write(tag, ber::Write(ber::ENUMERATED, std::string(1, static_cast<char>(code))) +
                            ber::Write(ber::OCTETS, "") + ber::Write(ber::OCTETS, text) +
                            (urls.empty() ? "" : List(REFERRAL, urls))));
}

bool ScriptedLdapServer::IsSearch(const std::string& request) {
    return ber::Read(request).at(2).tag == SEARCH;
}

std::string ScriptedLdapServer::BaseOf(const std::string& request) {
    return ber::Read(request).at(3).bytes;
}
