// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

/// A proxy on 127.0.0.1 that forwards one connection to a server. It can make the server drop the
/// session's statements, as a connection pooler does, and request files, as an attacker does.
class ForgetfulProxy {
public:
    explicit ForgetfulProxy(int server_port);
    ForgetfulProxy(const ForgetfulProxy&) = delete;
    ForgetfulProxy& operator=(const ForgetfulProxy&) = delete;
    ~ForgetfulProxy();

    int GetPort() const { return m_port; }
    int GetAcceptedCount() const { return m_accepted; }

    /// Resets the session while no question is open. Returns when the server has done so.
    void Forget();

    /// Replaces the server's next answer by a request for a file of the client.
    void AskForFile(const std::string& name);

    /// The bytes that the client has sent since the request.
    std::string GetSent();

private:
    void Run();
    void Serve(const kwlookup::FileDescriptor& client, const kwlookup::FileDescriptor& server);
    bool ForwardRequest(const kwlookup::FileDescriptor& client,
                        const kwlookup::FileDescriptor& server);
    bool ForwardAnswer(const kwlookup::FileDescriptor& server,
                       const kwlookup::FileDescriptor& client);

    const int m_server_port;
    int m_port = 0;
    kwlookup::FileDescriptor m_listener;
    std::atomic<int> m_accepted{0};
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_forget{false};
    std::mutex m_lock;
    std::string m_file; ///< to request; empty for none
    std::string m_sent;
    std::thread m_thread;
};
