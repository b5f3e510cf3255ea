// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/ForgetfulProxy.h"

#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

using namespace kwlookup;

namespace {

/// How often the thread checks for requests of the test.
constexpr int PAUSE_MS = 5;

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

FileDescriptor Socket() {
    return FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

/// Empty at the end.
std::string Receive(const FileDescriptor& from) {
    char bytes[16384];
    const ssize_t got = ::recv(from.Get(), bytes, sizeof(bytes), 0);
    return got > 0 ? std::string(bytes, static_cast<std::size_t>(got)) : std::string();
}

bool Send(const FileDescriptor& to, const std::string& bytes) {
    const ssize_t sent = ::send(to.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return sent > 0 && static_cast<std::size_t>(sent) == bytes.size();
}

} // namespace

ForgetfulProxy::ForgetfulProxy(int server_port) : m_server_port(server_port), m_listener(Socket()) {
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof(address);
    ::bind(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), length);
    ::listen(m_listener.Get(), 1);
    ::getsockname(m_listener.Get(), reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { Run(); });
}

ForgetfulProxy::~ForgetfulProxy() {
    m_stop = true;
    m_thread.join();
}

void ForgetfulProxy::Forget() {
    m_forget = true;
    while (m_forget)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void ForgetfulProxy::AskForFile(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_file = name;
}

std::string ForgetfulProxy::GetSent() {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_sent;
}

void ForgetfulProxy::Run() {
    while (!m_stop) {
        pollfd watched{m_listener.Get(), POLLIN, 0};
        if (::poll(&watched, 1, PAUSE_MS) <= 0)
            continue;
        const FileDescriptor client(::accept(m_listener.Get(), nullptr, nullptr));
        const FileDescriptor server = Socket();
        const sockaddr_in address = Loopback(m_server_port);
        ++m_accepted;
        if (::connect(server.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) ==
            0)
            Serve(client, server);
    }
}

void ForgetfulProxy::Serve(const FileDescriptor& client, const FileDescriptor& server) {
    while (!m_stop) {
        pollfd watched[] = {{client.Get(), POLLIN, 0}, {server.Get(), POLLIN, 0}};
        ::poll(watched, 2, PAUSE_MS);
        if ((watched[0].revents && !ForwardRequest(client, server)) ||
            (watched[1].revents && !ForwardAnswer(server, client)))
            return;
        if (m_forget) {
            static constexpr char COM_RESET_CONNECTION[] = {1, 0, 0, 0, 0x1f};
            ::send(server.Get(), COM_RESET_CONNECTION, sizeof(COM_RESET_CONNECTION), MSG_NOSIGNAL);
            char done[64]; // a short packet, which arrives at once
            ::recv(server.Get(), done, sizeof(done), 0);
            m_forget = false;
        }
    }
}

bool ForgetfulProxy::ForwardRequest(const FileDescriptor& client, const FileDescriptor& server) {
    const std::string request = Receive(client);
    const std::lock_guard<std::mutex> lock(m_lock);
    m_sent += request;
    return Send(server, request);
}

bool ForgetfulProxy::ForwardAnswer(const FileDescriptor& server, const FileDescriptor& client) {
    std::string answer = Receive(server);
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_file.empty()) {
        // The length and the number of the packet, the mark of such a request, the name.
        const char head[] = {static_cast<char>(m_file.size() + 1), 0, 0, 1, '\xfb'};
        answer = std::string(head, sizeof(head)) + m_file;
        m_file.clear();
        m_sent.clear();
    }
    return Send(client, answer);
}
