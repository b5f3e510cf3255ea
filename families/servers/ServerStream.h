// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/TlsSettings.h"
#include "text/FileDescriptor.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

struct ssl_st;

namespace kwlookup {

/// Reads the files of `settings`, for those who leave TLS to another library, which does not say
/// which file is bad. Throws ServerFault "FILE: REASON".
void CheckTlsFiles(const TlsSettings& settings);

/// The bytes to and from a server, for protocols that this project speaks itself; in TLS after
/// StartTls().
///
/// All throw ServerFault with the reason: "no answer in time", "the server closed the connection",
/// what the system says of the socket, and what OpenSSL says of TLS and of certificates.
/// Threads: one at a time.
class ServerStream {
public:
    /// `socket` is connected, as ConnectSocket() makes it.
    explicit ServerStream(FileDescriptor socket);
    // OpenSSL knows the address of m_socket.
    ServerStream(const ServerStream&) = delete;
    ServerStream& operator=(const ServerStream&) = delete;

    /// Goes on in TLS. The server's certificate must be one for the host of `server`, of an
    /// authority that is trusted, unless `settings` say otherwise. The files are read each time, so
    /// that new ones count from the next connection on.
    void StartTls(const TlsSettings& settings, const Server& server, Deadline deadline);

    /// Sends all of `bytes`.
    void Write(std::string_view bytes, Deadline deadline);

    /// Waits for bytes and reads at most `size` of them, at least one.
    std::size_t Read(char* buffer, std::size_t size, Deadline deadline);

private:
    struct FreeTls {
        void operator()(ssl_st* tls) const;
    };

    /// Calls `step()`, an operation of OpenSSL, until it is done; gives what it returned.
    template <typename Step>
    int Tls(Deadline deadline, Step&& step);
    void Wait(short events, Deadline deadline) const;
    void LimitRead(Deadline deadline);

    FileDescriptor m_socket;
    int m_longest_read = -1;                ///< in ms, as the system was told
    std::unique_ptr<ssl_st, FreeTls> m_tls; ///< null: plain text
};

} // namespace kwlookup
