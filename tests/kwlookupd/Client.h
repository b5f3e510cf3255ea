// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <string>
#include <string_view>

/// A client of the daemon that sends and receives bytes. Throws std::runtime_error.
class Client {
public:
    /// Connects to an address as the daemon's configuration has it: "127.0.0.1:8823", "[::1]:8823"
    /// or "unix:/path". `from` is the client's own IPv4 address.
    explicit Client(const std::string& address, const std::string& from = std::string());

    /// Sends all of it. False if the server has closed the connection.
    bool Send(std::string_view bytes);
    /// Half-closes.
    void End();

    /// Waits for so many bytes, or the end of the connection, for at most this time.
    std::string Receive(std::size_t size, int milliseconds = 30000);
    /// Waits for the end of the connection, for at most 30 seconds.
    std::string ReceiveAll() { return Receive(std::string::npos); }
    /// True if something, or the end, arrives within the time.
    bool HasInput(int milliseconds) const;

    int GetSocket() const { return m_socket.Get(); }

private:
    kwlookup::FileDescriptor m_socket;
};

/// A port of 127.0.0.1 at which nobody listens.
int UnusedPort();
