// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace kwlookup {

/// A proxy on 127.0.0.1 for a server, which makes faults on request.
///
/// Threads: any.
class FaultyProxy {
public:
    enum class Fault {
        None,
        Close,    ///< closes a connection after so many bytes of the server's answers
        Hang,     ///< forwards so many bytes of the server's answers on a connection, then nothing
        Scramble, ///< as Hang, but answers with garbage after these bytes
        Flip,     ///< changes the byte of the answers that comes after so many
        Reset     ///< as Close, but with a reset of the connection
    };

    explicit FaultyProxy(int server_port);
    FaultyProxy(const FaultyProxy&) = delete;
    FaultyProxy& operator=(const FaultyProxy&) = delete;
    ~FaultyProxy();

    int GetPort() const { return m_port; }
    std::string GetHost() const { return "127.0.0.1:" + std::to_string(m_port); }

    /// Set the fault, also for open connections. Bytes forwarded before count. To accept
    /// connections and never answer, use Hang after 0 bytes. Flip changes the bits of `flipped`.
    void SetFault(Fault fault, std::size_t bytes = 0, unsigned char flipped = 0);

    /// Forward each answer so much later. Other connections wait meanwhile.
    void SetDelay(std::chrono::milliseconds delay) { m_delay = delay; }

    /// Closes all connections.
    void Disconnect();

    /// The number of connections that clients have made, and of those that are open.
    int GetAcceptedCount() const { return m_accepted; }
    int GetOpenCount() const { return m_open; }

    /// The number of bytes of answers forwarded on all connections.
    std::size_t GetForwardedBytes() const { return m_forwarded; }

private:
    struct Connection {
        FileDescriptor client;
        FileDescriptor server;
        std::size_t answered = 0;
    };

    void Run();
    void Accept();
    bool ForwardRequest(Connection& connection);
    bool ForwardAnswer(Connection& connection);
    bool IsOver(Connection& connection);

    const int m_server_port;
    int m_port = 0;
    FileDescriptor m_listener;
    FileDescriptor m_wake;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_disconnect{false};
    std::atomic<int> m_accepted{0};
    std::atomic<int> m_open{0};
    std::atomic<std::size_t> m_forwarded{0};
    std::atomic<std::chrono::milliseconds> m_delay{std::chrono::milliseconds(0)};
    std::mutex m_mutex;
    Fault m_fault = Fault::None; ///< guarded by m_mutex, as the next two
    std::size_t m_bytes = 0;
    unsigned char m_flipped = 0;
    std::list<Connection> m_connections; ///< used by the thread only
    std::thread m_thread;
};

} // namespace kwlookup
