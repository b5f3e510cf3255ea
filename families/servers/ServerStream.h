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

/// Check the files of `settings`. For connections whose client library makes TLS and does not
/// report which file is invalid. Throws ServerFault "FILE: REASON".
void CheckTlsFiles(const TlsSettings& settings);

/// A stream of bytes to and from a server, for protocols that this project implements itself. It is
/// encrypted after StartTls().
///
/// All operations throw ServerFault with the reason: "no answer in time", "the server closed the
/// connection", or the message of the system or OpenSSL.
/// Threads: one at a time.
class ServerStream {
public:
    /// `socket` is connected, as ConnectSocket() makes it.
    explicit ServerStream(FileDescriptor socket);
    // OpenSSL keeps the address of m_socket.
    ServerStream(const ServerStream&) = delete;
    ServerStream& operator=(const ServerStream&) = delete;

    /// Continue with TLS. The server's certificate must be for the host of `server` and issued by a
    /// trusted authority, unless `settings` disable that. The files are read each time, so that the
    /// next connection uses new files.
    void StartTls(const TlsSettings& settings, const Server& server, Deadline deadline);

    /// Send all of `bytes`. A server that has closed the connection is no fault yet: what it said
    /// before, such as why, is read next, and then Read() throws.
    void Write(std::string_view bytes, Deadline deadline);

    /// Wait for bytes, and read at least one and at most `size`.
    std::size_t Read(char* buffer, std::size_t size, Deadline deadline);

private:
    struct FreeTls {
        void operator()(ssl_st* tls) const;
    };

    /// Call `step()`, an operation of OpenSSL, until it is done. Returns its result.
    template <typename Step>
    int Tls(Deadline deadline, Step&& step);
    void WriteAll(std::string_view bytes, Deadline deadline);
    void Wait(short events, Deadline deadline) const;
    void LimitRead(Deadline deadline);

    FileDescriptor m_socket;
    int m_longest_read = -1;                ///< the system's limit for a read, in ms
    std::unique_ptr<ssl_st, FreeTls> m_tls; ///< null for plain text
};

} // namespace kwlookup
