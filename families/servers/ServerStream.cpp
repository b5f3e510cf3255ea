// SPDX-License-Identifier: MIT
#include "families/servers/ServerStream.h"

#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"
#include "text/SystemError.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <new>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>

namespace kwlookup {
namespace {

/// In ms. The system may end a read an eighth of its time late, but for some short times.
constexpr int LONGEST_READ = 500;

/// The server has closed the connection, or the system has.
class ConnectionLost : public ServerFault {
public:
    using ServerFault::ServerFault;
};

bool IsLoss(int error) {
    return error == EPIPE || error == ECONNRESET;
}

[[noreturn]] void FailWithError(int error) {
    if (IsLoss(error))
        throw ConnectionLost(SystemErrorText(error));
    throw ServerFault(SystemErrorText(error));
}

[[noreturn]] void FailClosed() {
    throw ServerFault("the server closed the connection");
}

bool WouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

/// The oldest error in OpenSSL's queue, which caused the others.
std::string TlsReason() {
    const unsigned long error = ::ERR_get_error();
    ::ERR_clear_error();
    if (ERR_SYSTEM_ERROR(error))
        return SystemErrorText(ERR_GET_REASON(error));
    const char* const reason = error != 0 ? ::ERR_reason_error_string(error) : nullptr;
    return reason ? reason : "unknown error";
}

[[noreturn]] void FailWithFile(const std::string& name) {
    throw ServerFault(name + ": " + TlsReason());
}

// OpenSSL's own socket would raise SIGPIPE in the host.

int SendBytes(BIO* bio, const char* bytes, int size) {
    const auto* const socket = static_cast<const FileDescriptor*>(::BIO_get_data(bio));
    ::BIO_clear_retry_flags(bio);
    const ssize_t sent =
        ::send(socket->Get(), bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && WouldBlock())
        ::BIO_set_retry_write(bio);
    return static_cast<int>(sent);
}

int ReceiveBytes(BIO* bio, char* bytes, int size) {
    const auto* const socket = static_cast<const FileDescriptor*>(::BIO_get_data(bio));
    ::BIO_clear_retry_flags(bio);
    const ssize_t got = ::recv(socket->Get(), bytes, static_cast<std::size_t>(size), MSG_DONTWAIT);
    if (got < 0 && WouldBlock())
        ::BIO_set_retry_read(bio);
    return static_cast<int>(got);
}

long Control(BIO*, int command, long, void*) {
    return command == BIO_CTRL_FLUSH;
}

const BIO_METHOD* SocketMethod() {
    static const BIO_METHOD* const method = [] {
        BIO_METHOD* const made =
            ::BIO_meth_new(::BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "kwlookup socket");
        if (!made)
            throw std::bad_alloc();
        ::BIO_meth_set_write(made, SendBytes);
        ::BIO_meth_set_read(made, ReceiveBytes);
        ::BIO_meth_set_ctrl(made, Control);
        return made;
    }();
    return method;
}

struct FreeContext {
    void operator()(SSL_CTX* context) const { ::SSL_CTX_free(context); }
};

using Context = std::unique_ptr<SSL_CTX, FreeContext>;

Context MakeContext(const TlsSettings& settings) {
    // Other threads may still close connections at exit.
    ::OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
    ::ERR_clear_error();
    Context context(::SSL_CTX_new(::TLS_client_method()));
    if (!context)
        throw std::bad_alloc();
    ::SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    if (settings.verify) {
        ::SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
        if (settings.ca_file.empty())
            ::SSL_CTX_set_default_verify_paths(context.get());
        else if (::SSL_CTX_load_verify_file(context.get(), settings.ca_file.c_str()) != 1)
            FailWithFile(settings.ca_file);
    }
    if (!settings.cert_file.empty()) {
        // Otherwise OpenSSL would ask for the password of a key at the terminal.
        ::SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
        if (::SSL_CTX_use_certificate_chain_file(context.get(), settings.cert_file.c_str()) != 1)
            FailWithFile(settings.cert_file);
        const std::string& key = settings.key_file.empty() ? settings.cert_file : settings.key_file;
        if (::SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1)
            FailWithFile(key);
    }
    return context;
}

bool IsAddress(const std::string& host) {
    in6_addr address;
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

/// Set the name that the certificate must be for, and that is sent to the server.
void SetName(SSL* tls, const std::string& host, bool verify) {
    int done = 1;
    if (!IsAddress(host)) {
        done = static_cast<int>(::SSL_ctrl(tls, SSL_CTRL_SET_TLSEXT_HOSTNAME,
                                           TLSEXT_NAMETYPE_host_name,
                                           const_cast<char*>(host.c_str())));
        if (verify && done == 1)
            done = ::SSL_set1_host(tls, host.c_str());
    } else if (verify) {
        done = ::X509_VERIFY_PARAM_set1_ip_asc(::SSL_get0_param(tls), host.c_str());
    }
    if (done != 1)
        throw ServerFault("TLS: " + TlsReason());
}

} // namespace

void CheckTlsFiles(const TlsSettings& settings) {
    MakeContext(settings);
}

ServerStream::ServerStream(FileDescriptor socket) : m_socket(std::move(socket)) {
    // Plain text is read by calls that wait.
    ::fcntl(m_socket.Get(), F_SETFL, ::fcntl(m_socket.Get(), F_GETFL) & ~O_NONBLOCK);
}

void ServerStream::FreeTls::operator()(ssl_st* tls) const {
    ::SSL_free(tls);
}

void ServerStream::StartTls(const TlsSettings& settings, const Server& server, Deadline deadline) {
    const Context context = MakeContext(settings);
    std::unique_ptr<SSL, FreeTls> tls(::SSL_new(context.get()));
    BIO* const socket = tls ? ::BIO_new(SocketMethod()) : nullptr;
    if (!socket)
        throw std::bad_alloc();
    ::SSL_set_bio(tls.get(), socket, socket); // takes ownership
    ::BIO_set_data(socket, &m_socket);
    ::BIO_set_init(socket, 1);
    SetName(tls.get(), server.host, settings.verify);
    m_tls = std::move(tls);
    Tls(deadline, [this] { return ::SSL_connect(m_tls.get()); });
}

template <typename Step>
int ServerStream::Tls(Deadline deadline, Step&& step) {
    for (;;) {
        ::ERR_clear_error();
        errno = 0;
        const int done = step();
        if (done > 0)
            return done;
        const int system_error = errno;
        switch (::SSL_get_error(m_tls.get(), done)) {
        case SSL_ERROR_WANT_READ:
            Wait(POLLIN, deadline);
            break;
        case SSL_ERROR_WANT_WRITE:
            Wait(POLLOUT, deadline);
            break;
        case SSL_ERROR_ZERO_RETURN:
            FailClosed();
        case SSL_ERROR_SYSCALL:
            if (done == 0 || system_error == 0)
                FailClosed();
            FailWithError(system_error);
        default:
            const long verified = ::SSL_get_verify_result(m_tls.get());
            if (verified != X509_V_OK && ::SSL_get_verify_mode(m_tls.get()) != SSL_VERIFY_NONE)
                throw ServerFault(std::string("TLS: ") + ::X509_verify_cert_error_string(verified));
            throw ServerFault("TLS: " + TlsReason());
        }
    }
}

void ServerStream::Wait(short events, Deadline deadline) const {
    if (!WaitFor(m_socket.Get(), events, deadline))
        throw ServerFault("no answer in time");
}

void ServerStream::Write(std::string_view bytes, Deadline deadline) {
    try {
        WriteAll(bytes, deadline);
    } catch (const ConnectionLost&) {
        // The server may have said why before it closed. Read() finds that, or the loss.
    }
}

void ServerStream::WriteAll(std::string_view bytes, Deadline deadline) {
    while (!bytes.empty()) {
        if (m_tls) {
            const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX));
            bytes.remove_prefix(static_cast<std::size_t>(
                Tls(deadline, [&] { return ::SSL_write(m_tls.get(), bytes.data(), size); })));
            continue;
        }
        const ssize_t sent =
            ::send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        else if (WouldBlock())
            Wait(POLLOUT, deadline);
        else
            FailWithError(errno);
    }
}

std::size_t ServerStream::Read(char* buffer, std::size_t size, Deadline deadline) {
    if (m_tls)
        return static_cast<std::size_t>(Tls(deadline, [&] {
            return ::SSL_read(m_tls.get(), buffer,
                              static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
        }));
    for (;;) {
        LimitRead(deadline);
        const ssize_t got = ::recv(m_socket.Get(), buffer, size, 0);
        if (got > 0)
            return static_cast<std::size_t>(got);
        if (got == 0)
            FailClosed();
        if (!WouldBlock())
            FailWithError(errno);
        if (deadline.IsOver())
            throw ServerFault("no answer in time");
    }
}

/// To poll before each read would cost as much as the read.
void ServerStream::LimitRead(Deadline deadline) {
    const int limit = std::clamp(deadline.GetMsLeft(), 1, LONGEST_READ);
    if (limit == m_longest_read)
        return;
    const timeval time{limit / 1000, limit % 1000 * 1000};
    if (::setsockopt(m_socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time)) != 0)
        FailWithError(errno);
    m_longest_read = limit;
}

} // namespace kwlookup
