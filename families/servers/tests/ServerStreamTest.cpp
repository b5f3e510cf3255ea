// SPDX-License-Identifier: MIT
#include "families/servers/ServerStream.h"

#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"
#include "servers/TestAuthority.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace kwlookup {
namespace {

Deadline Soon() {
    return Deadline(std::chrono::seconds(10));
}

/// Listens on 127.0.0.1 and takes one connection.
class Listener {
public:
    Listener() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(m_socket.Get(), any, size), 0);
        EXPECT_EQ(::listen(m_socket.Get(), 1), 0);
        EXPECT_EQ(::getsockname(m_socket.Get(), any, &size), 0);
        m_server.host = "127.0.0.1";
        m_server.port = ::ntohs(address.sin_port);
    }

    const Server& GetServer() const { return m_server; }
    FileDescriptor Accept() const {
        return FileDescriptor(::accept(m_socket.Get(), nullptr, nullptr));
    }

private:
    FileDescriptor m_socket;
    Server m_server;
};

/// Close with a reset, so that the next write of the other side fails.
void Reset(FileDescriptor socket) {
    const linger at_once{1, 0};
    ASSERT_EQ(::setsockopt(socket.Get(), SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once)), 0);
}

/// What is read, or the fault.
std::string ReadFrom(ServerStream& stream) {
    try {
        char bytes[64];
        return {bytes, stream.Read(bytes, sizeof(bytes), Soon())};
    } catch (const ServerFault& fault) {
        return std::string("fault: ") + fault.what();
    }
}

TEST(ServerStream, ReadsWhatAServerSaidBeforeItClosed) {
    const Listener listener;
    ServerStream stream(ConnectSocket(listener.GetServer(), Soon()));
    FileDescriptor accepted = listener.Accept();
    ASSERT_EQ(::send(accepted.Get(), "-ERR full", 9, 0), 9);
    Reset(std::move(accepted));
    stream.Write("question", Soon());
    EXPECT_EQ(ReadFrom(stream), "-ERR full");
    stream.Write("question", Soon());
    EXPECT_EQ(ReadFrom(stream), "fault: the server closed the connection");
}

/// Wants a certificate of its client, and closes the connection without one.
void RefuseWithoutCertificate(FileDescriptor socket, const TestCertificate& own) {
    const std::unique_ptr<SSL_CTX, decltype(&::SSL_CTX_free)> context(
        ::SSL_CTX_new(::TLS_server_method()), ::SSL_CTX_free);
    ASSERT_EQ(::SSL_CTX_use_certificate_file(context.get(), own.certificate_file.c_str(),
                                             SSL_FILETYPE_PEM),
              1);
    ASSERT_EQ(::SSL_CTX_use_PrivateKey_file(context.get(), own.key_file.c_str(), SSL_FILETYPE_PEM),
              1);
    ::SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    const std::unique_ptr<SSL, decltype(&::SSL_free)> tls(::SSL_new(context.get()), ::SSL_free);
    ::SSL_set_fd(tls.get(), socket.Get());
    EXPECT_LE(::SSL_accept(tls.get()), 0);
    Reset(std::move(socket));
}

TEST(ServerStream, SaysThatTheServerWantsACertificate) {
    const TestAuthority authority;
    const TestCertificate certificate = authority.ForServer();
    TlsSettings settings;
    settings.mode = TlsSettings::Mode::Require;
    settings.ca_file = authority.GetCaFile();
    const Listener listener;
    ServerStream stream(ConnectSocket(listener.GetServer(), Soon()));
    std::thread server([&] { RefuseWithoutCertificate(listener.Accept(), certificate); });
    // With TLS 1.3 the client is done before the server has looked at its certificate.
    stream.StartTls(settings, listener.GetServer(), Soon());
    server.join();
    stream.Write("question", Soon());
    EXPECT_THAT(ReadFrom(stream), testing::HasSubstr("certificate required"));
}

} // namespace
} // namespace kwlookup
